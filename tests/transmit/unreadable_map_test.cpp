#include <cstddef>
#include <fstream>
#include <limits>
#include <vector>

#include "tests/support/FaultyFileSystem.hpp"
#include "tests/transmit/SendingTest.hpp"

/// Starts of the app while the maps of earlier lives cannot be read, as on a device that is still locked.
namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A disk on which the files named cannot be opened for now.
class LockedFiles final : public FaultyFileSystem {
  public:
    std::vector<std::string> locked;
    std::size_t refusals = std::numeric_limits<std::size_t>::max();  // then they are unlocked

    platform::Result<std::unique_ptr<platform::File>> open(const std::string& path, platform::OpenMode mode) override {
        for (const auto& name : locked)
            if (path.ends_with("/" + name + ".Harvelstone") && refusals > 0) {
                --refusals;
                return std::make_error_code(std::errc::permission_denied);
            }
        return FaultyFileSystem::open(path, mode);
    }
};

class UnreadableMap : public ::testing::Test {
  protected:
    /// A life that leaves a document with a goal; gives its id.
    UnreadableMap() {
        life([&] {
            Machine machine(documents_.path());
            configureApp();
            DocumentManager::sharedInstance();
            endHold();
            QueueFile(StaticValues::GOAL_FILE_PREFIX() + pendingIds().back()).add({{"g3", 1}});
        });
    }

    /// The next life, a minute later, with these files locked.
    void nextLife(const std::vector<std::string>& locked,
                  const std::function<void(Machine&, LockedFiles&)>& piece) const {
        life([&] {
            Machine machine(documents_.path());
            const auto disk = std::make_shared<LockedFiles>();
            disk->locked = locked;
            machine.setFileSystem(disk);
            machine.clock->advance(60);
            configureApp();
            DocumentManager::sharedInstance();
            endHold();
            piece(machine, *disk);
        });
    }
    std::vector<std::string> idsOnDiskNow() const {
        return nlohmann::json::parse(std::ifstream(documents_.path() + "/harvelstone/DocumentDB.Harvelstone"))
            .at(pendingKey)
            .get<std::vector<std::string>>();
    }
    std::string settingOnDisk(const std::string& setting) const {
        return nlohmann::json::parse(std::ifstream(documents_.path() + "/harvelstone/current_config_file.Harvelstone"))
            .at("configuration")
            .at(setting)
            .get<std::string>();
    }

    const TemporaryFolder documents_;
};

TEST_F(UnreadableMap, ADocumentIsNotRetiredBecauseItCannotBeReadNow) {
    const auto id = idsOnDiskNow().front();
    nextLife({id}, [&](Machine& machine, LockedFiles& disk) {
        DocumentManager::sharedInstance().sendDocument();
        EXPECT_EQ(machine.log->lines().back(), "DEBUG_HARVELSTONE_JSON : an Exception occurred.");
        EXPECT_EQ(pendingIds().front(), id);
        EXPECT_THAT(machine.http->requests, IsEmpty());

        disk.locked.clear();
        DocumentManager::sharedInstance().sendDocument();
        EXPECT_THAT(machine.http->requests, SizeIs(1));
        EXPECT_EQ(fateCounts()[Fate::sessionMissing], 0U);
    });
}

TEST_F(UnreadableMap, ThePendingListOfEarlierLivesComesBackInFront) {
    const auto id = idsOnDiskNow().front();
    nextLife({"DocumentDB"}, [&](Machine& machine, LockedFiles& disk) {
        EXPECT_THAT(pendingIds(), SizeIs(1));
        EXPECT_EQ(idsOnDiskNow(), std::vector{id}) << "nothing is written over it";
        const auto newest = pendingIds().back();

        disk.locked.clear();
        (*documentDB)->putInt("anything", 1);
        EXPECT_THAT(pendingIds(), ElementsAre(id, newest));
        EXPECT_EQ(idsOnDiskNow(), pendingIds());
        DocumentManager::sharedInstance().sendDocument();
        EXPECT_THAT(machine.http->requests, SizeIs(1));
    });
}

TEST_F(UnreadableMap, TheListComesBackAtWhicheverCallOfTheStartItCanBeRead) {
    constexpr std::size_t callsOfAStart = 12;
    for (std::size_t refusals = 1; refusals <= callsOfAStart; ++refusals) {
        SCOPED_TRACE(refusals);
        const auto before = idsOnDiskNow();
        life([&] {
            Machine machine(documents_.path());
            const auto disk = std::make_shared<LockedFiles>();
            disk->locked = {"DocumentDB"};
            disk->refusals = refusals;
            machine.setFileSystem(disk);
            machine.clock->advance(60.0 * static_cast<double>(refusals));
            configureApp();
            DocumentManager::sharedInstance();
            disk->refusals = 0;
            (*documentDB)->putInt("anything", 1);
            EXPECT_EQ(idsOnDiskNow(), pendingIds());
        });
        const auto after = idsOnDiskNow();
        ASSERT_EQ(after.size(), before.size() + 1);
        EXPECT_EQ(std::vector(after.begin(), after.end() - 1), before);
    }
}

TEST_F(UnreadableMap, TheListComesBackWhenADocumentIsMadeJustThen) {
    const auto id = idsOnDiskNow().front();
    nextLife({"DocumentDB"}, [&](Machine& machine, LockedFiles& disk) {
        disk.locked.clear();
        machine.clock->advance(1);
        DocumentManager::sharedInstance().createDocument();
        EXPECT_THAT(pendingIds(), SizeIs(3));
        EXPECT_EQ(pendingIds().front(), id);
        EXPECT_EQ(idsOnDiskNow(), pendingIds());
    });
}

TEST_F(UnreadableMap, VisitsAndDocumentsAddUpWithThoseOfEarlierLives) {
    nextLife({"DocumentDB", "BS_SESSION"}, [&](Machine& machine, LockedFiles& disk) {
        disk.locked.clear();
        (*documentDB)->putInt("anything", 1);
        const auto db = fileOfMap(machine, "DocumentDB");
        EXPECT_EQ(db.at("lifetime_visits"), 2);
        EXPECT_EQ(db.at("Ledger").at("created"), 2);
    });
}

TEST_F(UnreadableMap, AnInstallationKeepsItsIdentity) {
    const auto uuid = settingOnDisk("uuid");
    nextLife({"current_config_file"}, [&](Machine&, LockedFiles& disk) {
        SessionManager::sharedInstance().configure({{"ak", "changed"}});
        BSConfig::sharedInstance().putPref("new", 1);
        disk.locked.clear();
        BSConfig::sharedInstance().putPref("newer", 2);
    });
    EXPECT_EQ(settingOnDisk("uuid"), uuid);
    EXPECT_EQ(settingOnDisk("ak"), "changed");
}

TEST_F(UnreadableMap, NothingIsSentWhileNobodyKnowsWhetherTheUserAgreed) {
    nextLife({"current_profile_file"}, [&](Machine& machine, LockedFiles& disk) {
        DocumentManager::sharedInstance().sendDocument();
        EXPECT_THAT(machine.http->requests, IsEmpty());
        disk.locked.clear();
        DocumentManager::sharedInstance().sendDocument();
        EXPECT_THAT(machine.http->requests, SizeIs(1));
    });
}

}  // namespace
}  // namespace harvelstone::testing
