#include <array>
#include <set>
#include <stdexcept>
#include <thread>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* listExistsLine = "DEBUG_HARVELSTONE_CONFIG : documentDB->DOCUMENT_TARGET_NAME size is zero. ";

class Lifecycle : public DocumentTest {
  protected:
    /// What an earlier run left in the document DB map.
    void leftBehind(const std::string& json) {
        machine.writeFile(storedFileName(StaticValues::DOCUMENT_DB_NAME()), json);
    }

    void expectAThrowAwayMapAfterAFailedStart() {
        SessionManager::sharedInstance().configure({{"ak", nullptr}});
        EXPECT_THROW(manager(), platform::InvalidArgumentException);

        const auto& map = **currentDocument->load();
        EXPECT_THAT(map.name(), MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}"));
        EXPECT_EQ(map.jsonString(), "{}");
    }

    std::vector<std::string> linesAbout(const std::string& what) const {
        return machine.log->linesStartingWith("DEBUG_HARVELSTONE_CONFIG : " + what);
    }
};

TEST_F(Lifecycle, TheFirstStartEverStoresExactlyTheNewDocument) {
    manager();

    ASSERT_THAT(pendingIds(), SizeIs(1));
    EXPECT_EQ(storedIds(), pendingIds());
    EXPECT_EQ(idsOnDisk(machine), pendingIds());
}

TEST_F(Lifecycle, TheFirstStartEverLogsTheseLinesAndNoOther) {
    manager();

    EXPECT_THAT(machine.log->lines(),
                ElementsAre("DEBUG_HARVELSTONE_CONFIG : documentDB Data -> {}",
                            "DEBUG_HARVELSTONE_CONFIG : currentDocument Data -> {}",
                            "DEBUG_HARVELSTONE_CONFIG : documentID --> " + pendingIds().front() + " ",
                            "DEBUG_HARVELSTONE_CONFIG : getSessionConfigJson called. ",
                            "DEBUG_HARVELSTONE_CONFIG_LTVT : 1 / Y "));
}

TEST_F(Lifecycle, ARestartLogsTheStoredDataAndTheListLine) {
    leftBehind(R"({"DocumentTarget":["a_1.000000"],"x":1})");
    manager();

    const auto lines = machine.log->lines();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[0], R"(DEBUG_HARVELSTONE_CONFIG : documentDB Data -> {"DocumentTarget":["a_1.000000"],"x":1})");
    EXPECT_EQ(lines[1], listExistsLine);
    EXPECT_THAT(lines[2], HasSubstr("documentID --> "));
    EXPECT_THAT(linesAbout("currentDocument Data"), IsEmpty());
}

TEST(Restart, PendingDocumentsOfEarlierRunsStayAheadOfTheNewOne) {
    TemporaryFolder folder;
    life([&] {
        const Machine app(folder.path());
        DocumentManager::sharedInstance();
    });
    life([&] {
        const Machine app(folder.path());
        app.clock->advance(60);
        DocumentManager::sharedInstance();
    });
    life([&] {
        const Machine app(folder.path());
        app.clock->advance(120);
        const auto earlier = idsOnDisk(app);
        DocumentManager::sharedInstance();
        ASSERT_THAT(earlier, SizeIs(2));
        EXPECT_THAT(pendingIds(),
                    ElementsAre(earlier[0], earlier[1], DocumentManager::sharedInstance().getLaistDocId()));
        EXPECT_EQ(idsOnDisk(app), pendingIds());
        EXPECT_THAT(app.log->lines(), Contains(listExistsLine));
    });
}

TEST_F(Lifecycle, AnEmptyStoredListCountsAsAList) {
    leftBehind(R"({"DocumentTarget":[]})");
    manager();

    EXPECT_THAT(pendingIds(), SizeIs(1));
    EXPECT_THAT(machine.log->lines(), Contains(listExistsLine));
    EXPECT_THAT(linesAbout("currentDocument Data"), IsEmpty());
}

TEST_F(Lifecycle, AStoredListThatIsNoneCountsAsAbsent) {
    leftBehind(R"({"DocumentTarget":"a_1.000000"})");
    manager();

    EXPECT_THAT(pendingIds(), SizeIs(1));
    EXPECT_EQ(idsOnDisk(machine), pendingIds());
    EXPECT_THAT(machine.log->lines(), Not(Contains(listExistsLine)));
    EXPECT_THAT(linesAbout("currentDocument Data"), SizeIs(1));
}

TEST_F(Lifecycle, ElementsOfTheStoredListThatAreNoTextsAreLeftOut) {
    leftBehind(R"({"DocumentTarget":["a_1.000000",7,null,["x"],"b_2.000000"]})");
    manager();

    EXPECT_THAT(pendingIds(), ElementsAre("a_1.000000", "b_2.000000", manager().getLaistDocId()));
    EXPECT_EQ(idsOnDisk(machine), pendingIds());
}

TEST_F(Lifecycle, ElementsOfTheStoredListThatCanNameNoFileAreLeftOut) {
    const std::string tooLong(300, 'n');
    const std::string tooLongForAQueue(longestStoredName - 3, 'n');
    leftBehind(R"({"DocumentTarget":["../../etc/passwd",".","..","","a/b","a\u0000b",")" + tooLong + "\",\"" +
               tooLongForAQueue + R"(","a_1.000000"]})");
    manager();

    ASSERT_THAT(pendingIds(), SizeIs(2));
    EXPECT_EQ(pendingIds().front(), "a_1.000000");
    EXPECT_EQ(manager().getLastDocumentID(), pendingIds().back());
}

TEST_F(Lifecycle, EveryQueueOfTheLongestIdThatIsTakenCanBeOpened) {
    std::string id(longestStoredName, 'n');
    id.resize(longestStoredName - StaticValues::CAMPAIGN_FILE_PREFIX().size());
    leftBehind(R"({"DocumentTarget":[")" + id + R"("]})");
    manager();

    ASSERT_EQ(pendingIds().front(), id);
    for (const auto* prefix :
         {&StaticValues::GOAL_FILE_PREFIX(), &StaticValues::PAGES_FILE_PREFIX(), &StaticValues::CLICK_FILE_PREFIX(),
          &StaticValues::REVENUE_FILE_PREFIX(), &StaticValues::PUSH_FILE_PREFIX(), &StaticValues::EVENT_FILE_PREFIX(),
          &StaticValues::CAMPAIGN_FILE_PREFIX()})
        EXPECT_THAT(manager().getQueue(*prefix, id), IsEmpty());
}

TEST_F(Lifecycle, AStoredSessionThatCanNameNoFileIsReplaced) {
    machine.writeFile("BS_SESSION.Harvelstone",
                      R"({"sessions":[{"id":"../../x","started":1479259200.5}],"activity":{"last":1479259200.5}})");
    manager();

    EXPECT_THAT(pendingIds(), SizeIs(1));
    EXPECT_THAT(pendingIds().front(), Not(HasSubstr("/")));
}

TEST_F(Lifecycle, BindsTheCollaborators) {
    manager();

    EXPECT_EQ(sessionManager, &SessionManager::sharedInstance());
    EXPECT_EQ(profiler, &ProfileManager::sharedInstance());
    EXPECT_EQ(*documentDB, TinyMap::sharedInstance().get(StaticValues::DOCUMENT_DB_NAME()));
    EXPECT_EQ(*DOCUMENT_TARGET_NAME, pendingKey);
}

TEST_F(Lifecycle, TheStartUpHoldEndsThirtySecondsAfterTheVeryFirstReadingOfTheTime) {
    machine.clock->tickPerReading(1000);
    const double before = machine.clock->now();
    manager();

    EXPECT_EQ(sendStartTimestamp, before + 1000 + 30.0);
}

TEST_F(Lifecycle, ClearsTheCounterAndTheLock) {
    sendRcount = 5;
    sendLock = true;
    manager();

    EXPECT_EQ(sendRcount, 0);
    EXPECT_FALSE(sendLock);
}

TEST_F(Lifecycle, TheNewDocumentIsCurrentAndTheThrowAwayMapIsNeverStored) {
    manager();
    machine.clock->advance(1);
    manager().updateDocument();

    EXPECT_EQ(*currentDocument->load(), TinyMap::sharedInstance().get(pendingIds().front()));
    for (const auto& file : machine.storedFiles()) EXPECT_THAT(file, Not(HasSubstr("-0000-4000-8000-"))) << file;
}

TEST_F(Lifecycle, EveryCallGivesTheSameManagerAndOneDocument) {
    std::array<DocumentManager*, 8> seen{};
    std::vector<std::thread> threads;
    for (auto& slot : seen) threads.emplace_back([&slot] { slot = &DocumentManager::sharedInstance(); });
    for (auto& thread : threads) thread.join();

    for (const auto* one : seen) EXPECT_EQ(one, &manager());
    EXPECT_THAT(pendingIds(), SizeIs(1));
}

TEST_F(Lifecycle, ANestedCallFromInsideStartUpDoesNotWaitForItself) {
    const auto inner = platform::Platform::current().clock;
    static DocumentManager* nested = nullptr;  // the manager that the outer call replaces stays reachable
    bool isFirstReading = true;
    platform::Platform::current().clock = std::make_shared<HookedClock>([&] {
        if (std::exchange(isFirstReading, false)) nested = &DocumentManager::sharedInstance();
        return inner->now();
    });
    manager();

    EXPECT_NE(nested, nullptr);
    EXPECT_THAT(pendingIds(), SizeIs(2));
}

TEST_F(Lifecycle, AMissingValueReachesTheCallerAndNamesItsKey) {
    SessionManager::sharedInstance().configure({{"ak", nullptr}});

    EXPECT_THAT(refusal([] { DocumentManager::sharedInstance(); }), HasSubstr(StaticValues::PARAM_AK()));
}

TEST_F(Lifecycle, AThrowAwayMapIsCurrentUntilTheNewDocumentIsMade) { expectAThrowAwayMapAfterAFailedStart(); }

TEST_F(Lifecycle, AThrowAwayMapIsCurrentUntilThenWithAStoredListToo) {
    leftBehind(R"({"DocumentTarget":["a_1.000000"]})");
    expectAThrowAwayMapAfterAFailedStart();
}

TEST_F(Lifecycle, AStartThatFailedIsTriedAgainByTheNextCall) {
    SessionManager::sharedInstance().configure({{"ak", nullptr}});
    EXPECT_THROW(manager(), platform::InvalidArgumentException);
    EXPECT_THAT(storedIds(), IsEmpty());
    SessionManager::sharedInstance().configure({{"ak", "shop"}});
    const auto* made = &manager();

    EXPECT_EQ(made, &manager());
    EXPECT_THAT(pendingIds(), SizeIs(1));
}

TEST_F(Lifecycle, AStartThatFailedLeavesTheLockToOtherThreads) {
    SessionManager::sharedInstance().configure({{"ak", nullptr}});
    EXPECT_THROW(manager(), platform::InvalidArgumentException);
    SessionManager::sharedInstance().configure({{"ak", "shop"}});
    const DocumentManager* made = nullptr;
    std::thread([&] { made = &DocumentManager::sharedInstance(); }).join();

    EXPECT_EQ(made, &manager());
}

TEST_F(Lifecycle, AnExceptionOfAnyOtherKindPassesToo) {
    const auto inner = platform::Platform::current().clock;
    platform::Platform::current().clock =
        std::make_shared<HookedClock>([]() -> double { throw std::runtime_error("no clock"); });
    EXPECT_THROW(manager(), std::runtime_error);
    platform::Platform::current().clock = inner;

    EXPECT_NO_THROW(manager());
}

TEST_F(Lifecycle, EverythingIsOnDiskWhenTheFirstCallReturns) {
    manager();

    const auto id = pendingIds().front();
    EXPECT_EQ(fileOfMap(machine, id), nlohmann::json::parse(TinyMap::sharedInstance().get(id)->jsonString()));
    EXPECT_EQ(fileOfMap(machine, StaticValues::DOCUMENT_DB_NAME()), nlohmann::json::parse((*documentDB)->jsonString()));
}

TEST_F(Lifecycle, AStartCommitsEachFileOnce) {
    const auto files = recordFiles();
    manager();

    EXPECT_THAT(files->committed, Contains(storedFilePath(pendingIds().front())));
    EXPECT_EQ(std::set(files->committed.begin(), files->committed.end()).size(), files->committed.size());
}

TEST_F(Lifecycle, ALongPendingListIsRestoredWithoutOpeningADocument) {
    nlohmann::json ids = nlohmann::json::array();
    for (int i = 0; i < 10'000; ++i) ids.push_back("S" + std::to_string(i) + "_1.000000");
    leftBehind(nlohmann::json({{pendingKey, ids}}).dump());
    const auto files = recordFiles();
    manager();

    EXPECT_THAT(pendingIds(), SizeIs(10'001));
    EXPECT_EQ(pendingIds().front(), "S0_1.000000");
    EXPECT_EQ(pendingIds()[9'999], "S9999_1.000000");
    for (const auto& path : files->opened) EXPECT_THAT(path, Not(HasSubstr("_1.000000"))) << path;
}

}  // namespace
}  // namespace harvelstone::testing
