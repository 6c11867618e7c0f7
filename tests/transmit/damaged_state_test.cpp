#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "tests/transmit/SendingTest.hpp"

/// Every value of every stored map replaced by something else, and every map by no map: the app starts, records, sends.
namespace harvelstone::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Pair;
using ::testing::StartsWith;

class DamagedState : public ::testing::TestWithParam<const char*> {
  protected:
    /// A start, some records, an upload.
    static void liveOnce(int goalValue = 42) {
        auto& manager = DocumentManager::sharedInstance();
        manager.startSession();
        manager.setProduct("p1", "kettle");
        manager.setProductCategory("c1", "kitchen");
        manager.setGoal(7, goalValue);
        manager.putGoal();
        manager.setEvent("type", "name", 1);
        manager.setCampaign("type", "name", 1, "referrer");
        manager.addCsPV();
        manager.updateDocument();
        QueueFile(StaticValues::PAGES_FILE_PREFIX() + manager.getLaistDocId())
            .add({{StaticValues::PARAM_VT_TZ(), "2016-11-16T01:20:00+00:00"},
                  {StaticValues::PARAM_VS(), 1.5},
                  {StaticValues::PARAM_CS_P_V(), 1}});
        ProfileManager::sharedInstance().setInstallReferrer();
        endHold();
        manager.sendDocument();
    }

    void firstLife() const {
        life([this] {
            Machine machine(documents_.path());
            configureApp();
            ProfileManager::sharedInstance().setProfile({{"mbr", "gold"}, {"age", 30}});
            HarvelstonePostback::sharedInstance().setPostbackReferrer("https://partner.example/");
            HarvelstonePostback::sharedInstance().setPostbackData({{"partner", "P-17"}});
            liveOnce();
            machine.http->answer(R"({"wait_seconds":0,"visit_new_server_time":1})");
            liveOnce();
        });
    }

    /// A life over the storage as it stands, later than the first. Whatever it reads, nothing may leave it and nothing
    /// may be doubled, and what it records arrives.
    void surviveALife() const {
        life([this] {
            Machine machine(documents_.path());
            machine.clock->advance(60);
            machine.device->uuids = 100;
            configureApp();
            constexpr int ownGoal = 4711;
            liveOnce(ownGoal);
            std::string arrived;
            for (int pass = 0; pass < 6; ++pass) {
                for (const auto& request : machine.http->requests) arrived += request.json();
                if (!machine.http->requests.empty()) machine.http->answer("{}");
                machine.http->requests.clear();
                machine.clock->advance(1);
                DocumentManager::sharedInstance().sendDocument();
            }
            EXPECT_LE(pendingIds().size(), 6U);
            EXPECT_THAT(arrived, HasSubstr("\"g7\":4711"));
        });
    }

    static bool isDocument() { return GetParam() == std::string_view("the head document"); }
    std::string folder() const { return documents_.path() + "/harvelstone/"; }
    /// The file of the map, or of the document that is sent first.
    std::string pathOf(const std::string& map) const {
        if (!isDocument()) return folder() + map + ".Harvelstone";
        const auto db = nlohmann::json::parse(std::ifstream(folder() + "DocumentDB.Harvelstone"));
        return folder() + db.at(pendingKey).at(0).get<std::string>() + ".Harvelstone";
    }

    TemporaryFolder documents_;
};

/// Where a value stands: the keys that lead to it.
using Place = nlohmann::json::json_pointer;

void collectPlaces(const nlohmann::json& value, const Place& at, int levels, std::vector<Place>& places) {
    if (levels == 0 || !value.is_structured()) return;
    for (const auto& [key, member] : value.items()) {
        const auto place = value.is_array() ? at / std::stoul(key) : at / key;
        places.push_back(place);
        collectPlaces(member, place, levels - 1, places);
    }
}

TEST_P(DamagedState, NeverKeepsTheAppFromStartingAndSending) {
    firstLife();
    const auto soundFolder = documents_.path() + "/sound";
    fs::copy(folder(), soundFolder, fs::copy_options::recursive);
    const auto path = pathOf(GetParam());
    const auto sound = nlohmann::json::parse(std::ifstream(path));
    std::vector<Place> places;
    collectPlaces(sound, Place(), isDocument() ? 1 : 2, places);  // a session section has some eighty members
    int lives = 0;
    for (const auto& place : places)
        for (const char* other : {"true", "-9223372036854775808", "\"../..\"", "{\"value\":[{}]}"}) {
            SCOPED_TRACE(place.to_string() + " = " + other);
            auto damaged = sound;
            damaged[place] = nlohmann::json::parse(other);
            fs::remove_all(folder());
            fs::copy(soundFolder, folder(), fs::copy_options::recursive);
            std::ofstream(path) << damaged;
            surviveALife();
            ++lives;
            if (HasFailure()) return;
        }
    RecordProperty("lives", lives);
    EXPECT_GE(lives, 8);
}

/// What was there, and as it was.
std::map<std::string, std::string> contentsOf(const fs::path& folder) {
    std::map<std::string, std::string> contents;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream file(entry.path());
        contents[entry.path().filename()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return contents;
}

TEST_P(DamagedState, OfAWholeFileSetsItAsideAndCostsNoOtherFile) {
    firstLife();
    const auto soundFolder = documents_.path() + "/sound";
    fs::copy(folder(), soundFolder, fs::copy_options::recursive);
    const fs::path path = pathOf(GetParam());
    const auto sound = contentsOf(soundFolder);
    const auto& text = sound.at(path.filename());
    for (const auto& damaged : {text.substr(0, text.size() / 2), std::string(text.size(), '\0')}) {
        fs::remove_all(folder());
        fs::copy(soundFolder, folder(), fs::copy_options::recursive);
        std::ofstream(path) << damaged;
        surviveALife();
        const auto left = contentsOf(folder());
        for (const auto& [name, content] : sound) EXPECT_TRUE(left.contains(name) || name == path.filename()) << name;
        EXPECT_THAT(left, Contains(Pair(StartsWith(path.stem().string() + ".corrupt-"), damaged)));
    }
}

INSTANTIATE_TEST_SUITE_P(, DamagedState,
                         ::testing::Values("DocumentDB", "BS_SESSION", "current_profile_file", "current_config_file",
                                           "BS_SESSION_MAP", "postbackDB", "the head document"));

}  // namespace
}  // namespace harvelstone::testing
