#include "tools/storage_contents.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/TestPlatform.hpp"
#include "tools/inspect.hpp"
#include "tools/unsent_records.hpp"

namespace harvelstone::tools {

namespace {

using nlohmann::json;

class Inspection : public ::testing::Test {
  protected:
    void TearDown() override {
        std::string error;
        const auto contents = readStorage(machine_.folder, error);
        EXPECT_TRUE(!contents || contents->ledger.balances());
    }

    json inspect() {
        std::string error;
        auto contents = readStorage(machine_.folder, error);
        EXPECT_TRUE(contents) << error;
        return contents ? json::parse(storageJson(*std::move(contents))) : json();
    }

    std::map<std::string, std::string> allFiles() const {
        std::map<std::string, std::string> files;
        for (const auto& name : machine_.storedFiles()) files[name] = machine_.readFile(name);
        return files;
    }

    testing::TestPlatform machine_;
};

TEST_F(Inspection, ShowsPendingListDocumentsAndQueues) {
    const auto database = TinyMap::sharedInstance().get("DocumentDB");
    database->putMutableArray("DocumentTarget", {"S1_1.000000"});
    database->putInt("lifetime_visits", 3);
    TinyMap::sharedInstance().get("S1_1.000000")->putDictionary("session", {{"sid", "S1"}});
    QueueFile pages("pages_S1_1.000000");
    pages.add({{"name", "cart"}});
    pages.add({{"name", "checkout"}});
    EXPECT_EQ(inspect(), json::parse(R"({
        "pending": ["S1_1.000000"],
        "documentDB": {"DocumentTarget": ["S1_1.000000"], "lifetime_visits": 3},
        "documents": {"S1_1.000000": {"session": {"sid": "S1"}}},
        "queues": {"pages_S1_1.000000": [{"name": "cart"}, {"name": "checkout"}]},
        "held": {}, "forked": {},
        "ledger": {"documents": {"created": 1, "sent": 0, "retired": {}, "pending": 1},
                   "records": {"page": {"recorded": 2, "assembled": 0, "pending": 2, "sent": 0, "dropped": {},
                                        "damaged": 0}}},
        "damaged": []})"));
}

TEST_F(Inspection, AnEmptyFolderHoldsNothing) {
    TinyMap::sharedInstance().get("postbackDB")->putString("a", "b");
    EXPECT_EQ(inspect(), json::parse(R"({
        "pending": [], "documentDB": {}, "documents": {}, "queues": {}, "held": {}, "forked": {},
        "ledger": {"documents": {"created": 0, "sent": 0, "retired": {}, "pending": 0}, "records": {}},
        "damaged": []})"));
}

TEST_F(Inspection, OnlyUnreadRecordsAreShown) {
    QueueFile goals("goal_S1_1.000000");
    goals.add({{"g1", 1}});
    goals.add({{"g1", 2}});
    ASSERT_TRUE(goals.pop());
    EXPECT_EQ(inspect()["queues"]["goal_S1_1.000000"], json::parse(R"([{"g1": 2}])"));
}

TEST_F(Inspection, WhatTheDocumentHoldsOfItsQueueIsTold) {
    TinyMap::sharedInstance().get("S1_1.000000")->putInt("retry_count", 1);
    TinyMap::sharedInstance().get("S1_1.000000")->putMutableArray("click", {Dictionary{{"n", 1}}});
    QueueFile clicks("click_S1_1.000000");
    clicks.add({{"n", 1}});
    clicks.add({{"n", 2}});
    EXPECT_EQ(inspect()["held"], json::parse(R"({"click_S1_1.000000": 1})"));
}

TEST_F(Inspection, EveryQueuePrefixIsAQueue) {
    for (const auto* prefix : {"goal_", "pages_", "click_", "revenue_", "push_", "event_", "campaign_"}) {
        QueueFile(prefix + std::string("S1")).add({{"a", 1}});
    }
    const auto seen = inspect();
    EXPECT_EQ(seen["queues"].size(), 7U);
    EXPECT_TRUE(seen["documents"].empty());
}

TEST_F(Inspection, TheOtherStoresAreNoDocuments) {
    for (const auto* name :
         {"current_profile_file", "current_config_file", "BS_SESSION_MAP", "BS_SESSION", "postbackDB"}) {
        machine_.writeFile(std::string(name) + ".Harvelstone", "{}");
    }
    machine_.writeFile("notes.txt", "mine");
    EXPECT_TRUE(inspect()["documents"].empty());
    EXPECT_TRUE(inspect()["damaged"].empty());
}

TEST_F(Inspection, ADamagedMapIsReportedWithItsText) {
    machine_.writeFile("S1_1.000000.Harvelstone", "{\"session\": {\"sid\"");
    const auto seen = inspect();
    EXPECT_TRUE(seen["documents"].empty());
    EXPECT_EQ(seen["damaged"], json::parse(R"([{"file": "S1_1.000000.Harvelstone", "why": "the file is no JSON object",
                                                "text": "{\"session\": {\"sid\""}])"));
}

TEST_F(Inspection, ADamagedRecordLeavesTheOthersReadable) {
    QueueFile queue("click_S1");
    queue.add({{"name", "first"}});
    const auto sound = machine_.readFile("click_S1.Harvelstone").size();
    queue.add({{"name", "second"}});
    queue.add({{"name", "third"}});
    auto bytes = machine_.readFile("click_S1.Harvelstone");
    bytes[bytes.find("second")] = 'S';
    machine_.writeFile("click_S1.Harvelstone", bytes);
    const auto seen = inspect();
    EXPECT_EQ(seen["queues"]["click_S1"], json::parse(R"([{"name": "first"}, {"name": "third"}])"));
    ASSERT_EQ(seen["damaged"].size(), 1U);
    EXPECT_EQ(seen["damaged"][0]["file"], "click_S1.Harvelstone");
    EXPECT_EQ(seen["damaged"][0]["why"], "bytes that are no record");
    EXPECT_EQ(seen["damaged"][0]["offset"], sound);
    EXPECT_EQ(seen["damaged"][0]["recordsRead"], 2);
}

TEST_F(Inspection, AFileThatIsNoQueueIsReported) {
    machine_.writeFile("click_S1.Harvelstone", "something else entirely, no queue");
    const auto seen = inspect();
    ASSERT_EQ(seen["damaged"].size(), 1U);
    EXPECT_EQ(seen["damaged"][0]["why"], "the file is no record queue");
}

TEST_F(Inspection, AFileSetAsideIsReportedWithWhatCanBeRead) {
    machine_.writeFile("DocumentDB.corrupt-1479259200.Harvelstone", "oops");
    const auto seen = inspect();
    EXPECT_TRUE(seen["documents"].empty());
    EXPECT_EQ(seen["damaged"],
              json::parse(R"([{"file": "DocumentDB.corrupt-1479259200.Harvelstone", "owner": "DocumentDB",
                                                "why": "set aside as unreadable", "text": "oops"}])"));
}

TEST_F(Inspection, AFileWithTheNameOfAChildsFolderIsAFile) {
    machine_.writeFile("forked-notes.Harvelstone", "{\"session\": {}}");
    const auto seen = inspect();
    EXPECT_TRUE(seen["forked"].empty());
    EXPECT_TRUE(seen["documents"].contains("forked-notes"));
}

TEST_F(Inspection, ADocumentTakenOverFromAChildIsExportedOnceUntilItsFolderGoes) {
    const auto database = TinyMap::sharedInstance().get("DocumentDB");
    database->putMutableArray("DocumentTarget", {"S1_1.000000"});
    QueueFile("click_S1_1.000000").add({{"n", 1}});
    ASSERT_TRUE(machine_.fileSystem->makeFolder(machine_.folder + "forked-1"));
    machine_.writeFile("forked-1/DocumentDB.Harvelstone", machine_.readFile("DocumentDB.Harvelstone"));
    std::string error;
    EXPECT_EQ(unsentRecordLines(*readStorage(machine_.folder, error)),
              "{\"document\":\"S1_1.000000\",\"in\":\"click_S1_1.000000\",\"kind\":\"click\",\"pending\":true,"
              "\"record\":{\"n\":1}}\n");
}

TEST_F(Inspection, AFolderInPlaceOfAFileIsReported) {
    ASSERT_TRUE(machine_.fileSystem->makeFolder(machine_.folder + "S1.Harvelstone"));
    const auto seen = inspect();
    ASSERT_EQ(seen["damaged"].size(), 1U);
    EXPECT_EQ(seen["damaged"][0]["file"], "S1.Harvelstone");
}

TEST_F(Inspection, ChangesNothing) {
    TinyMap::sharedInstance().get("S1")->putInt("a", 1);
    QueueFile("click_S1").add({{"name", "first"}});
    machine_.writeFile("S2.Harvelstone", "broken");
    machine_.writeFile("goal_S2.Harvelstone", machine_.readFile("click_S1.Harvelstone") + "torn");
    const auto before = allFiles();
    inspect();
    EXPECT_EQ(allFiles(), before);
}

TEST_F(Inspection, AMissingFolderIsAnError) {
    std::string error;
    EXPECT_FALSE(readStorage(machine_.documents + "/none", error));
    EXPECT_EQ(error, "No such file or directory");
}

TEST_F(Inspection, TheTreeNamesEverything) {
    const auto database = TinyMap::sharedInstance().get("DocumentDB");
    database->putMutableArray("DocumentTarget", {"S2"});
    TinyMap::sharedInstance().get("S1")->putDictionary("session", {{"sid", "S1"}});
    TinyMap::sharedInstance().get("S2")->putInt("retry_count", 2);
    QueueFile("click_S2").add({{"name", "buy"}});
    std::string error;
    EXPECT_EQ(storageText(*readStorage(machine_.folder, error)),
              "pending (1)\n"
              "  S2\n"
              "documentDB\n"
              "  DocumentTarget (1)\n"
              "    \"S2\"\n"
              "documents (2)\n"
              "  S1 (not pending)\n"
              "    session (1 values)\n"
              "      sid: \"S1\"\n"
              "  S2\n"
              "    retry_count: 2\n"
              "queues (1)\n"
              "  click_S2 (1)\n"
              "    {\"name\":\"buy\"}\n"
              "ledger\n"
              "  documents (4 values)\n"
              "    created: 1\n"
              "    pending: 1\n"
              "    retired: {}\n"
              "    sent: 0\n"
              "  records (1 values)\n"
              "    click: {\"assembled\":0,\"damaged\":0,\"dropped\":{},\"pending\":1,\"recorded\":1,\"sent\":0}\n"
              "damaged (0)\n");
}

}  // namespace

}  // namespace harvelstone::tools
