// The page that tells server authors what to expect, held against documents as they are really sent.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "harvelstone/services/Constants.hpp"

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using nlohmann::json;
using ::testing::Contains;
using ::testing::IsSubsetOf;

std::string readPage() {
    std::ifstream file(HARVELSTONE_SOURCE_DIR "/docs/protocol.md");
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// From the heading to the next one of its level.
std::string chapter(const std::string& heading) {
    const auto page = readPage();
    const auto begin = page.find("\n## " + heading + "\n");
    if (begin == std::string::npos) throw std::runtime_error("no chapter " + heading);
    return page.substr(begin + 1, page.find("\n## ", begin + 1) - begin - 1);
}

/// The JSON example of a chapter.
json example(const std::string& heading) {
    const auto text = chapter(heading);
    const auto begin = text.find("```json\n");
    if (begin == std::string::npos) throw std::runtime_error("no example in " + heading);
    const auto end = text.find("```", begin + 8);
    return json::parse(text.substr(begin + 8, end - begin - 8));
}

struct KeyRow {
    std::string accessor;
    std::string type;
};

/// The rows "| `key` | `ACCESSOR` | type | meaning |" of a chapter, by key.
std::map<std::string, KeyRow> keyRows(const std::string& heading) {
    std::map<std::string, KeyRow> rows;
    std::istringstream lines(chapter(heading));
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> cells;
        std::istringstream stream(line);
        for (std::string cell; std::getline(stream, cell, '|');) {
            const auto begin = cell.find_first_not_of(" `");
            const auto end = cell.find_last_not_of(" `");
            cells.push_back(begin == std::string::npos ? "" : cell.substr(begin, end - begin + 1));
        }
        if (cells.size() >= 5 && line.starts_with("| `")) rows[cells[1]] = {cells[2], cells[3]};
    }
    return rows;
}

bool hasType(const json& value, const std::string& type) {
    static const std::map<std::string, bool (*)(const json&)> tests{
        {"text", [](const json& v) { return v.is_string(); }},
        {"integer", [](const json& v) { return v.is_number_integer(); }},
        {"double", [](const json& v) { return v.is_number_float(); }},
        {"number", [](const json& v) { return v.is_number(); }},
        {"boolean", [](const json& v) { return v.is_boolean(); }},
        {"text or number", [](const json& v) { return v.is_string() || v.is_number(); }},
        {"list of texts",
         [](const json& v) {
             return v.is_array() && std::all_of(v.begin(), v.end(), [](const json& e) { return e.is_string(); });
         }},
        {"any", [](const json&) { return true; }},
    };
    return tests.at(type)(value);
}

std::set<std::string> keysOf(const json& object) {
    std::set<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.insert(key);
    return keys;
}

class ProtocolPage : public SendingTest {
  protected:
    ProtocolPage() {
        HarvelstoneCore::setFlagUseImei(true);
        HarvelstoneCore::setAppOpenFlag(true);
        HarvelstonePostback::sharedInstance().setPostbackData({{"partner", "p-81"}});
        HarvelstonePostback::sharedInstance().setPostbackReferrer("partner=p-81&click=c-5");
        BSConfig::sharedInstance().putPref(StaticValues::VISIT_NEW_SERVER_TIME(), 1'479'259'201);
        auto& profile = ProfileManager::sharedInstance();
        profile.putSessionData(StaticValues::PARAM_MAT_SOURCE_TRACE(), List{"mail", "search"});
        profile.putSessionData(StaticValues::PARAM_MAT_CAMPAIGN_TRACE(), List{"autumn"});
    }

    /// A document with every section and every key there is: of a visit that goes on, and was refreshed by the host.
    json richDocument() {
        const auto id = addContinuedVisit();
        documetNameList->store(DocumentNames({id}));
        manager().setProduct("p-7", "Red shoes");
        manager().setProductCategory("c-2", "Shoes");
        manager().setGoal(3, 50);
        manager().putGoal();
        const auto date = *section(*head(), TrackType::TYPE_SESSION()).at(StaticValues::PARAM_VT_TZ()).string();
        queue(StaticValues::PAGES_FILE_PREFIX(),
              {{StaticValues::PARAM_VT_TZ(), date}, {StaticValues::PARAM_VS(), 12}, {StaticValues::PARAM_CS_P_V(), 2}});
        queue(StaticValues::PAGES_FILE_PREFIX(), {{StaticValues::PARAM_VT_TZ(), date},
                                                  {StaticValues::PARAM_VS(), 4},
                                                  {StaticValues::PARAM_CS_P_V(), 1},
                                                  {"page", "product"},
                                                  {"path", "/shoes/red"}});
        queue(StaticValues::CLICK_FILE_PREFIX(), {{StaticValues::PARAM_VT_TZ(), date}, {"button", "buy"}});
        queue(StaticValues::REVENUE_FILE_PREFIX(), {{StaticValues::PARAM_VT_TZ(), date}, {"amount", 59.9}});
        queue(StaticValues::PUSH_FILE_PREFIX(), {{StaticValues::PARAM_VT_TZ(), date}, {"message", "m-4"}});
        send();
        return json::parse(machine.http->requests.back().json());
    }
    json firstDocument() {
        HarvelstoneCore::setFlagUseImei(false);
        HarvelstoneCore::setAppOpenFlag(false);
        const auto id = addNewVisit();
        documetNameList->store(DocumentNames({id}));
        send();
        return json::parse(machine.http->requests.back().json());
    }
};

TEST_F(ProtocolPage, TheExampleHasTheSectionsAndKeysOfARealDocument) {
    const auto real = richDocument();
    const auto written = example("A complete document");

    EXPECT_EQ(keysOf(written), keysOf(real));
    EXPECT_EQ(keysOf(written.at("session")), keysOf(real.at("session")));
    EXPECT_EQ(keysOf(written.at("postback")), keysOf(real.at("postback")));
    EXPECT_EQ(keysOf(written.at("push")), keysOf(real.at("push")));
    for (const auto* name : {"goal", "pages", "click", "revenue"}) {
        ASSERT_EQ(written.at(name).size(), real.at(name).size()) << name;
        for (std::size_t i = 0; i < real.at(name).size(); ++i)
            EXPECT_EQ(keysOf(written.at(name).at(i)), keysOf(real.at(name).at(i))) << name;
    }
}

TEST_F(ProtocolPage, TheExamplesValuesHaveTheTypesOfARealDocuments) {
    const auto real = richDocument().flatten();
    const auto written = example("A complete document").flatten();

    for (const auto& [pointer, value] : real.items()) {
        ASSERT_TRUE(written.contains(pointer)) << pointer;
        EXPECT_EQ(std::string(written.at(pointer).type_name()), value.type_name()) << pointer;
        EXPECT_EQ(written.at(pointer).is_number_float(), value.is_number_float()) << pointer;
    }
}

TEST_F(ProtocolPage, TheSessionTableHasEveryKeyWithItsType) {
    const auto session = richDocument().at("session");
    const auto rows = keyRows("Session");

    for (const auto& [key, value] : session.items()) {
        ASSERT_TRUE(rows.contains(key)) << key;
        EXPECT_TRUE(hasType(value, rows.at(key).type)) << key << " is no " << rows.at(key).type;
    }
    EXPECT_EQ(rows.size(), session.size());
}

TEST_F(ProtocolPage, TheTypesHoldForADocumentWithoutTheOptionalKeys) {
    const auto session = firstDocument().at("session");
    const auto rows = keyRows("Session");

    for (const auto& [key, value] : session.items()) EXPECT_TRUE(hasType(value, rows.at(key).type)) << key;
    EXPECT_EQ(session.size() + 3, rows.size());
    for (const auto* optional : {"imei", "app_open", "visit_new_server_time"})
        EXPECT_FALSE(session.contains(optional)) << optional;
}

TEST_F(ProtocolPage, TheTablesNameEachKeysAccessor) {
    for (const auto* heading : {"Session", "Records"})
        for (const auto& [key, row] : keyRows(heading)) EXPECT_EQ(constantText(row.accessor), key);
}

TEST_F(ProtocolPage, TheImmediateExampleIsAsOneIsSent) {
    manager().sendGoalDataImmediately({{"g3", 50}});
    const auto real = json::parse(machine.http->requests.back().json());
    const auto written = example("Immediate uploads");

    EXPECT_EQ(keysOf(written), keysOf(real));
    EXPECT_EQ(keysOf(written.at("goal").at(0)), keysOf(real.at("goal").at(0)));
    EXPECT_THAT(keysOf(written.at("session")), IsSubsetOf(keysOf(real.at("session"))));
}

TEST_F(ProtocolPage, TheExampleReplyDoesWhatThePageSays) {
    addNewVisit();
    send();
    const auto id = headId();
    answer(example("Reply").dump());

    EXPECT_EQ(BSConfig::sharedInstance().getPrefValue("visit_new_server_time"), Value(1'479'259'201));
    EXPECT_FALSE(Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded);
    EXPECT_EQ(headId(), id);  // it asks for a repeat
    EXPECT_THAT(linesOf([&] { repeat(); }),
                Contains("DEBUG_HARVELSTONE_JSON : DEBUG_HARVELSTONE_JSON : EXIT By shouldSend is false."));
    machine.clock->advance(600);
    send();
    EXPECT_EQ(sentCount(), 2U);
}

}  // namespace
}  // namespace harvelstone::testing
