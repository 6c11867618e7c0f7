// The ledger's equations, and the documents' part of it over lives that end in every way.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "harvelstone/document/DocumentAccount.hpp"
#include "harvelstone/document/current_ledger.hpp"

#include "tests/support/FaultyFileSystem.hpp"
#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

TEST(LedgerBalance, HoldsWhenEveryDocumentIsAccountedFor) {
    Ledger ledger;
    EXPECT_TRUE(ledger.balances());
    ledger.documents = {.created = 6, .sent = 1, .retired = {{"expired", 2}, {"traffic_limit", 1}}, .pending = 2};
    EXPECT_TRUE(ledger.balances());
    ++ledger.documents.created;
    EXPECT_FALSE(ledger.balances());
}

TEST(LedgerBalance, HoldsWhenEveryRecordOfEveryKindIs) {
    Ledger ledger;
    ledger.records["goal"] = {
        .recorded = 10, .assembled = 3, .pending = 4, .sent = 2, .dropped = {{"expired", 1}, {"a", 2}}, .damaged = 1};
    EXPECT_TRUE(ledger.balances());
    ledger.records["page"].pending = 1;
    EXPECT_FALSE(ledger.balances());
}

TEST(StoredAccount, ComesBackAsItWas) {
    DocumentAccount account;
    account.created = 9;
    account.retired[Fate::sent] = 4;
    account.retired[Fate::sessionMissing] = 2;
    account.settle(RecordKind::goal, "sent", 5);
    account.settle(RecordKind::event, prunedUnread, 1);
    account.assembled["S_1.000000"] = {{RecordKind::page, 0}, {RecordKind::click, 3}};
    account.deletions["event_S_1.000000"].outcome = prunedUnread;
    account.deletions["event_S_1.000000"].counts.unread = 1;

    EXPECT_EQ(readStoredAccount(storedAccount(account)), account);
}

TEST(StoredAccount, LeavesOutWhatDidNotOccur) {
    EXPECT_EQ(storedAccount(DocumentAccount()), (Dictionary{{"created", 0}, {"retired", Dictionary{}}}));
}

TEST(BegunDeletion, IsTakenBackWhenItsFileHasGotAHeaderSince) {
    QueueCounts headless;
    headless.size = 60;
    headless.unread = 1;
    QueueCounts emptied;
    emptied.header = {.created = 7, .emptied = 1, .records = 1, .damaged = 0};
    emptied.size = 32;
    emptied.consumed = 1;

    DocumentAccount account;
    account.beginDeletion("goal_S_1.000000", /*isPending=*/true, {headless, std::string(prunedUnread)});
    account.revertIfStillThere("goal_S_1.000000", emptied);
    EXPECT_EQ(account, DocumentAccount());
}

TEST(StoredAccount, IsAbsentWithoutADictionary) {
    EXPECT_EQ(readStoredAccount(std::nullopt), std::nullopt);
    EXPECT_EQ(readStoredAccount(7), std::nullopt);
}

TEST(StoredAccount, ReadsWhatMakesNoSenseAsNothing) {
    const Dictionary stored{{"created", -3}, {"retired", Dictionary{{"sent", "x"}, {"gone", 4}}}};
    EXPECT_EQ(readStoredAccount(stored), DocumentAccount());
}

class DocumentLedger : public SendingTest {
  protected:
    static Ledger::Documents documents() { return currentLedger().documents; }
};

TEST_F(DocumentLedger, CountsADocumentWhenItIsCreated) {
    EXPECT_EQ(documents(), (Ledger::Documents{.created = 1, .sent = 0, .retired = {}, .pending = 1}));
    addNewVisit();
    EXPECT_EQ(documents(), (Ledger::Documents{.created = 2, .sent = 0, .retired = {}, .pending = 2}));
}

TEST_F(DocumentLedger, CountsWhatBecameOfEachDocument) {
    addNewVisit();
    expire(headId());
    send();
    answer("{}");

    EXPECT_EQ(documents(), (Ledger::Documents{.created = 3, .sent = 1, .retired = {{"expired", 1}}, .pending = 1}));
    EXPECT_TRUE(currentLedger().balances());
}

TEST_F(DocumentLedger, IsOnDiskInOneFileWithTheList) {
    send();
    answer("{}");

    const auto file = fileOfMap(machine, StaticValues::DOCUMENT_DB_NAME());
    EXPECT_EQ(file.at("DocumentTarget").size(), 1U);
    EXPECT_EQ(file.at("Ledger").at("created"), 2);
    EXPECT_EQ(file.at("Ledger").at("retired"), nlohmann::json({{"sent", 1}}));
}

TEST_F(DocumentLedger, IsNeverInAnUpload) {
    send();
    answer("{}");
    send();
    EXPECT_FALSE(uploaded().contains("Ledger"));
}

class LedgerAcrossLives : public ::testing::Test {
  protected:
    static void start() {
        configureApp();
        DocumentManager::sharedInstance();
        endHold();
    }
    static std::string fileText(const std::string& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    const TemporaryFolder folder_;
};

TEST_F(LedgerAcrossLives, GoesOnAfterARestart) {
    life([&] {
        const Machine machine(folder_.path());
        start();
        DocumentManager::sharedInstance().sendDocument();
        machine.http->answer("{}");
    });
    life([&] {
        const Machine machine(folder_.path());
        machine.clock->advance(60);
        start();
        EXPECT_EQ(currentLedger().documents, (Ledger::Documents{.created = 3, .sent = 1, .retired = {}, .pending = 2}));
    });
}

TEST_F(LedgerAcrossLives, BeginsWithThePendingDocumentsWhenThereIsNone) {
    const Machine machine(folder_.path());
    std::filesystem::create_directories(machine.folder);
    machine.writeFile("DocumentDB.Harvelstone", R"({"DocumentTarget":["a_1.000000","b_2.000000"]})");
    start();
    EXPECT_EQ(currentLedger().documents, (Ledger::Documents{.created = 3, .sent = 0, .retired = {}, .pending = 3}));
}

/// Two documents, the first too old: a pass retires it, and the answer sends the second.
void retireAndSend(const Machine& machine) {
    auto session = currentSession();
    session.insert_or_assign(StaticValues::CREATE_TIME(), 0);
    (*currentDocument->load())->putDictionary(TrackType::TYPE_SESSION().typeValue(), session);
    SessionManager::sharedInstance().endVisit();
    machine.clock->advance(1);
    DocumentManager::sharedInstance().createDocument();
    DocumentManager::sharedInstance().sendDocument();
    machine.http->answer("{}");
}

TEST_F(LedgerAcrossLives, IsExactAfterAKillAtEachCall) {
    const Ledger::Documents whole{.created = 4, .sent = 1, .retired = {{"expired", 1}}, .pending = 2};
    std::size_t calls = 1;
    for (std::size_t point = 0; point <= calls; ++point) {
        SCOPED_TRACE("killed at call " + std::to_string(point));
        const TemporaryFolder folder;
        const auto piece = [&] {
            Machine machine(folder.path());
            const auto disk = std::make_shared<FaultyFileSystem>();
            machine.setFileSystem(disk);
            disk->beforeCall = [&](std::size_t call) {
                if (call == point) dieHere();
            };
            start();
            retireAndSend(machine);
            machine.writeFile("calls", std::to_string(disk->calls().size()));
        };
        point == 0 ? life(piece) : lifeUntilKilled(piece);  // the first round only counts
        life([&] {
            const Machine machine(folder.path());
            machine.clock->advance(60);
            start();
            const auto ledger = currentLedger();
            EXPECT_TRUE(ledger.balances());
            EXPECT_EQ(ledger.documents.pending, pendingIds().size());
            EXPECT_TRUE(point > 0 || ledger.documents == whole);
        });
        if (point == 0) calls = std::stoul(fileText(folder.path() + "/harvelstone/calls"));
    }
    EXPECT_GT(calls, 50U);
    RecordProperty("points", static_cast<int>(calls));
}

}  // namespace
}  // namespace harvelstone::testing
