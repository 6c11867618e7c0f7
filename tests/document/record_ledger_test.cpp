// The records' part of the ledger: what becomes of every record, over deletions, damage, restarts and kills.

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "harvelstone/document/current_ledger.hpp"
#include "harvelstone/document/document_names.hpp"

#include "tests/support/FaultyFileSystem.hpp"
#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using Records = Ledger::Records;

Records records(const std::string& kind) { return currentLedger().records.at(kind); }

class RecordLedger : public SendingTest {
  protected:
    static void queueGoals(int count) {
        for (int number = 1; number <= count; ++number) queue(StaticValues::GOAL_FILE_PREFIX(), {{"number", number}});
    }
    static std::string fileOf(const std::string& prefix, const std::string& id) { return prefix + id + ".Harvelstone"; }
    /// The library's own clock goes by the platform's; what is old is old by the file's date.
    void makeOld(const std::string& file) const { machine.setFileAge(file, 5 * 60 * 60); }
    void removeSent() const { machine.mainQueue->advance(1); }
};

TEST_F(RecordLedger, CountsARecordWhenItIsAdded) {
    queueGoals(2);
    EXPECT_EQ(records("goal"), (Records{.recorded = 2, .assembled = 0, .pending = 2, .sent = 0, .dropped = {}}));
    EXPECT_EQ(records("page"), Records());
}

TEST_F(RecordLedger, CountsRecordsAsAssembledWhenTheirDocumentIsFilled) {
    queueGoals(2);
    send();
    EXPECT_EQ(records("goal"), (Records{.recorded = 2, .assembled = 2, .pending = 2, .sent = 0, .dropped = {}}));
}

TEST_F(RecordLedger, CountsRecordsAsSentWithTheirDocument) {
    queueGoals(2);
    send();
    answer("{}");
    const Records sent{.recorded = 2, .assembled = 2, .pending = 0, .sent = 2, .dropped = {}};
    EXPECT_EQ(records("goal"), sent);
    removeSent();
    EXPECT_EQ(records("goal"), sent) << "their queue file is gone";
}

TEST_F(RecordLedger, CountsTheRecordsBehindEachPageOfAnUpload) {
    const auto progress = [](int views) {
        queue(StaticValues::PAGES_FILE_PREFIX(),
              {{StaticValues::PARAM_VT_TZ(), "2016-11-16T01:20:00+00:00"}, {StaticValues::PARAM_CS_P_V(), views}});
    };
    progress(1);
    progress(2);
    send();
    answer("{}");
    EXPECT_EQ(records("page").sent, 2U) << "they were folded into one";
}

TEST_F(RecordLedger, DropsRecordsWithADocumentWhoseTransportFailed) {
    queueGoals(2);
    send();
    answer(std::nullopt);
    EXPECT_EQ(records("goal"),
              (Records{.recorded = 2, .assembled = 2, .pending = 0, .sent = 0, .dropped = {{"transport_failed", 2}}}));
}

TEST_F(RecordLedger, DropsRecordsWithADocumentThatWasAskedForTooOften) {
    queueGoals(1);
    send();
    for (int time = 0; time < 3; ++time) {
        answer(R"({"retry":true})");
        repeat();
    }
    EXPECT_EQ(records("goal").dropped, (std::map<std::string, std::uint64_t>{{"retries_exhausted", 1}}));
}

TEST_F(RecordLedger, DropsRecordsWithADocumentAtTheTrafficLimit) {
    queueGoals(1);
    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = true;
    send();
    EXPECT_EQ(records("goal").dropped, (std::map<std::string, std::uint64_t>{{"traffic_limit", 1}}));
}

TEST_F(RecordLedger, DropsRecordsOfADocumentThatAnothersAnswerRetired) {
    areRecordsOnlyOurs = false;  // the clicks are in no queue
    queueGoals(1);
    send();
    const auto names = documetNameList->load();
    documetNameList->update([](const DocumentNames& list) { return list.withoutFirst(Fate::expired); });
    documetNameList->update([&](const DocumentNames& list) {
        return list.withAssembled(names->at(0), {{RecordKind::click, 2}});
    });
    EXPECT_EQ(records("click").dropped, (std::map<std::string, std::uint64_t>{{"other_answered", 2}}));
    EXPECT_EQ(records("goal").dropped, (std::map<std::string, std::uint64_t>{{"expired", 1}}));
}

TEST_F(RecordLedger, CountsTheUnreadRecordsOfARemovedDocument) {
    queueGoals(2);
    expire(headId());
    send();
    EXPECT_EQ(records("goal").pending, 2U) << "they are there until their file goes";
    removeSent();
    EXPECT_EQ(records("goal"),
              (Records{.recorded = 2, .assembled = 0, .pending = 0, .sent = 0, .dropped = {{"removed_unread", 2}}}));
}

TEST_F(RecordLedger, CountsRecordsThatCameAfterTheAssembly) {
    queueGoals(2);
    send();
    queueGoals(1);
    EXPECT_EQ(records("goal").pending, 3U);
    answer("{}");
    removeSent();
    EXPECT_EQ(records("goal"),
              (Records{.recorded = 3, .assembled = 2, .pending = 0, .sent = 2, .dropped = {{"removed_unread", 1}}}));
}

TEST_F(RecordLedger, CountsTheUnreadRecordsOfAPrunedQueue) {
    queue(StaticValues::EVENT_FILE_PREFIX(), {{"name", "a"}});
    queue(StaticValues::CAMPAIGN_FILE_PREFIX(), {{"name", "b"}});
    makeOld(fileOf(StaticValues::EVENT_FILE_PREFIX(), headId()));
    manager().deleteOldestJsonFile();
    EXPECT_EQ(records("event"),
              (Records{.recorded = 1, .assembled = 0, .pending = 0, .sent = 0, .dropped = {{"pruned_unread", 1}}}));
    EXPECT_EQ(records("campaign").pending, 1U) << "its file is young";
}

TEST_F(RecordLedger, CommitsOnceForAllThatOnePruningDeletes) {
    for (const auto* prefix : {"event_", "campaign_", "click_"}) {
        queue(prefix, {{"name", "a"}});
        makeOld(fileOf(prefix, headId()));
    }
    const auto recording = recordFiles();
    manager().deleteOldestJsonFile();
    EXPECT_EQ(recording->committed.size(), 1U);
}

TEST_F(RecordLedger, CommitsNothingForARemovalWithoutUnreadRecords) {
    queueGoals(2);
    send();
    answer("{}");
    const auto recording = recordFiles();
    removeSent();
    EXPECT_EQ(recording->committed.size(), 0U);
}

TEST_F(RecordLedger, KnowsWhatAPendingDocumentHoldsWhenItsQueueWasPruned) {
    queueGoals(2);
    send();
    makeOld(fileOf(StaticValues::GOAL_FILE_PREFIX(), headId()));
    manager().deleteOldestJsonFile();
    EXPECT_EQ(records("goal").pending, 2U);
    answer("{}");
    EXPECT_EQ(records("goal").sent, 2U);
}

TEST_F(RecordLedger, CountsThePushesBehindTheOneThatADocumentCarries) {
    for (int number = 1; number <= 3; ++number) queue(StaticValues::PUSH_FILE_PREFIX(), {{"number", number}});
    send();
    answer("{}");
    EXPECT_EQ(records("push"),
              (Records{.recorded = 3, .assembled = 1, .pending = 0, .sent = 1, .dropped = {{"push_surplus", 2}}}));
}

TEST_F(RecordLedger, CountsPagesThatCouldNotBeFolded) {
    queue(StaticValues::PAGES_FILE_PREFIX(), {{"no date", 1}});
    send();
    EXPECT_EQ(records("page"),
              (Records{.recorded = 1, .assembled = 0, .pending = 0, .sent = 0, .dropped = {{"merge_failed", 1}}}));
}

TEST_F(RecordLedger, CountsADamagedStretchFromItsFileToItsEnd) {
    queueGoals(3);
    const auto file = fileOf(StaticValues::GOAL_FILE_PREFIX(), headId());
    auto bytes = machine.readFile(file);
    bytes[bytes.size() / 2] ^= 1;
    machine.writeFile(file, bytes);

    EXPECT_EQ(records("goal"),
              (Records{.recorded = 3, .assembled = 0, .pending = 2, .sent = 0, .dropped = {}, .damaged = 1}));
    send();
    answer("{}");
    const Records sent{.recorded = 3, .assembled = 2, .pending = 0, .sent = 2, .dropped = {}, .damaged = 1};
    EXPECT_EQ(records("goal"), sent) << "its file was emptied";
    removeSent();
    EXPECT_EQ(records("goal"), sent) << "its file is gone";
}

TEST_F(RecordLedger, CountsARecordThatNoDiskTakes) {
    const auto disk = std::make_shared<FaultyFileSystem>();
    platform::Platform::current().fileSystem = disk;
    disk->failEvery("append", std::errc::no_space_on_device);
    queueGoals(1);
    EXPECT_EQ(records("goal").pending, 1U);
}

TEST_F(RecordLedger, KeepsWhatAFailedDeletionLeaves) {
    queue(StaticValues::EVENT_FILE_PREFIX(), {{"name", "a"}});
    makeOld(fileOf(StaticValues::EVENT_FILE_PREFIX(), headId()));
    const auto disk = std::make_shared<FaultyFileSystem>();
    platform::Platform::current().fileSystem = disk;
    disk->failEvery("remove", std::errc::io_error);
    manager().deleteOldestJsonFile();

    EXPECT_EQ(records("event"), (Records{.recorded = 1, .assembled = 0, .pending = 1, .sent = 0, .dropped = {}}));
    disk->heal();
    manager().deleteOldestJsonFile();
    EXPECT_EQ(records("event").dropped, (std::map<std::string, std::uint64_t>{{"pruned_unread", 1}}));
}

TEST_F(RecordLedger, CountsADeletionThatAnotherPruningWasQuickerWith) {
    queue(StaticValues::EVENT_FILE_PREFIX(), {{"name", "a"}});
    const auto file = fileOf(StaticValues::EVENT_FILE_PREFIX(), headId());
    makeOld(file);
    const auto disk = std::make_shared<FaultyFileSystem>();
    platform::Platform::current().fileSystem = disk;
    disk->beforeCall = [&](std::size_t) {
        if (disk->calls().back() == "remove " + file) std::filesystem::remove(storageFolder() + file);
    };
    manager().deleteOldestJsonFile();
    disk->beforeCall = nullptr;
    EXPECT_EQ(records("event").dropped, (std::map<std::string, std::uint64_t>{{"pruned_unread", 1}}));
}

class RecordLedgerAcrossLives : public ::testing::Test {
  public:
    static void start() {
        configureApp();
        DocumentManager::sharedInstance();
        endHold();
    }

  protected:
    static void addGoal() { QueueFile(StaticValues::GOAL_FILE_PREFIX() + pendingIds().front()).add({{"number", 1}}); }
    static void addEvent() { QueueFile(StaticValues::EVENT_FILE_PREFIX() + pendingIds().front()).add({{"name", "a"}}); }

    /// On the folder of the lives before, started so long after the first.
    void laterLife(double seconds, const std::function<void(const Machine&)>& body) const {
        life([&] {
            const Machine machine(folder_.path());
            machine.clock->advance(seconds);
            start();
            body(machine);
        });
    }

    const TemporaryFolder folder_;
};

TEST_F(RecordLedgerAcrossLives, KnowsWhatADocumentHoldsThatAnEarlierLifeFilled) {
    lifeUntilKilled([&] {
        const Machine machine(folder_.path());
        start();
        addGoal();
        addGoal();
        DocumentManager::sharedInstance().sendDocument();
        dieHere();  // before the answer, and before the list was stored again
    });
    laterLife(60, [](const Machine& machine) {
        EXPECT_EQ(records("goal").pending, 2U);
        DocumentManager::sharedInstance().sendDocument();
        machine.http->answer("{}");
        EXPECT_EQ(records("goal"), (Records{.recorded = 2, .assembled = 2, .pending = 0, .sent = 2, .dropped = {}}));
    });
}

TEST_F(RecordLedgerAcrossLives, KnowsWhatADocumentHeldThatWaitedWhenItsQueueWasPruned) {
    lifeUntilKilled([&] {
        const Machine machine(folder_.path());
        start();
        addGoal();
        addGoal();
        DocumentManager::sharedInstance().sendDocument();
        machine.setFileAge("goal_" + pendingIds().front() + ".Harvelstone", 5 * 60 * 60);
        DocumentManager::sharedInstance().deleteOldestJsonFile();
        dieHere();  // before the answer, and before the list was stored for its sake
    });
    laterLife(60, [](const Machine&) { EXPECT_EQ(records("goal").pending, 2U); });
}

TEST_F(RecordLedgerAcrossLives, CountsOnceWhatADeletionCountedThatNeverHappened) {
    lifeUntilKilled([&] {
        Machine machine(folder_.path());
        const auto disk = std::make_shared<FaultyFileSystem>();
        machine.setFileSystem(disk);
        start();
        addEvent();
        const auto file = "event_" + pendingIds().front() + ".Harvelstone";
        machine.setFileAge(file, 5 * 60 * 60);
        disk->beforeCall = [&](std::size_t) {
            if (disk->calls().back() == "remove " + file) dieHere();
        };
        DocumentManager::sharedInstance().deleteOldestJsonFile();
    });
    laterLife(60, [](const Machine&) {
        EXPECT_EQ(records("event"), (Records{.recorded = 1, .assembled = 0, .pending = 1, .sent = 0, .dropped = {}}));
        DocumentManager::sharedInstance().deleteOldestJsonFile();
        EXPECT_EQ(records("event").dropped, (std::map<std::string, std::uint64_t>{{"pruned_unread", 1}}));
    });
    laterLife(120, [](const Machine&) {
        EXPECT_EQ(records("event").recorded, 1U) << "the deletion of the life before is over";
    });
}

TEST_F(RecordLedgerAcrossLives, DoublesNothingAtAKillBehindACommitOfTheListInTheMiddleOfAPass) {
    lifeUntilKilled([&] {
        Machine machine(folder_.path());
        const auto disk = std::make_shared<FaultyFileSystem>();
        machine.setFileSystem(disk);
        start();
        addGoal();
        addGoal();
        const auto document = pendingIds().front() + ".Harvelstone";
        disk->beforeCall = [&](std::size_t) {
            if (!disk->calls().back().starts_with("rename ") || !disk->calls().back().ends_with(document)) return;
            disk->beforeCall = nullptr;
            std::thread([] { storeDocumentNames(); }).join();
            dieHere();
        };
        DocumentManager::sharedInstance().sendDocument();
    });
    laterLife(60, [](const Machine&) { EXPECT_EQ(records("goal").recorded, 2U); });
}

constexpr std::uint64_t goalsOfTheLife = 3;

void addTo(const std::string& queue) { QueueFile(queue).add({{"number", 1}}); }

/// A document with goals is sent and removed; one more comes behind, and an event is pruned.
void sendRemoveAndPrune(const Machine& machine) {
    machine.clock->advance(1);  // so that the document made next is another one
    const auto id = pendingIds().front();
    addTo("goal_" + id);
    addTo("goal_" + id);
    addTo("event_" + id);
    machine.setFileAge("event_" + id + ".Harvelstone", 5 * 60 * 60);
    DocumentManager::sharedInstance().sendDocument();
    addTo("goal_" + id);
    machine.http->answer("{}");
    machine.mainQueue->advance(1);
}

/// A pass fills a document and retires it at once.
void fillAndDrop(const Machine& machine) {
    machine.clock->advance(1);
    for (std::uint64_t number = 0; number < goalsOfTheLife; ++number) addTo("goal_" + pendingIds().front());
    addTo("event_" + pendingIds().front());
    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = true;
    DocumentManager::sharedInstance().sendDocument();
    machine.mainQueue->advance(1);
}

/// How many file calls it makes; with a point, it is killed at that one.
std::size_t liveUntil(const std::string& folder, std::size_t point, const std::function<void(const Machine&)>& deeds) {
    const auto piece = [&] {
        Machine machine(folder);
        const auto disk = std::make_shared<FaultyFileSystem>();
        machine.setFileSystem(disk);
        RecordLedgerAcrossLives::start();
        disk->clear();
        disk->beforeCall = [&](std::size_t call) {
            if (call == point) dieHere();
        };
        deeds(machine);
        machine.writeFile("calls", std::to_string(disk->calls().size()));
    };
    point == 0 ? life(piece) : lifeUntilKilled(piece);
    std::size_t calls = 0;
    std::ifstream(folder + "/harvelstone/calls") >> calls;
    return calls;
}

/// Whatever the point, the next life counts no record twice.
void expectNothingDoubled(const std::function<void(const Machine&)>& deeds) {
    std::size_t calls = 1;
    for (std::size_t point = 0; point <= calls; ++point) {
        SCOPED_TRACE("killed at call " + std::to_string(point));
        const TemporaryFolder folder;
        const auto counted = liveUntil(folder.path(), point, deeds);
        if (point == 0) calls = counted;
        life([&] {
            const Machine machine(folder.path());
            machine.clock->advance(60);
            RecordLedgerAcrossLives::start();
            EXPECT_TRUE(currentLedger().balances());
            EXPECT_LE(records("goal").recorded, goalsOfTheLife);
            EXPECT_LE(records("event").recorded, 1U);
            EXPECT_TRUE(point > 0 || records("goal").recorded == goalsOfTheLife);
        });
    }
    EXPECT_GT(calls, 30U);
    ::testing::Test::RecordProperty("points", static_cast<int>(calls));
}

TEST_F(RecordLedgerAcrossLives, DoublesNothingAtAKillAtAnyCall) { expectNothingDoubled(sendRemoveAndPrune); }

TEST_F(RecordLedgerAcrossLives, DoublesNothingAtAKillInAPassThatRetiresWhatItFills) {
    expectNothingDoubled(fillAndDrop);
}

}  // namespace
}  // namespace harvelstone::testing
