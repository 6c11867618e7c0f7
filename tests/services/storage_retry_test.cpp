// What a failing disk leaves undone is done by the next operation that the disk lets through, whatever that touches.

#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/queue_scan.hpp"

#include "tests/services/StorageTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class StorageRetry : public StorageTest {
  protected:
    std::vector<int> unreadOnDisk(const std::string& queue) const {
        const auto bytes = machine.readFile(queue + ".Harvelstone");
        std::vector<int> numbers;
        for (const auto& record : readQueueContents(std::as_bytes(std::span(bytes))).unread)
            numbers.push_back(numberOf(record));
        return numbers;
    }
    bool isOnDisk(const std::string& map) const {
        return ::testing::Matches(Contains(map + ".Harvelstone"))(machine.storedFiles());
    }
};

TEST_F(StorageRetry, AMapIsWrittenAtTheEndOfTheNextOperationOnAnother) {
    disk->failEvery("rename", std::errc::no_space_on_device);
    map("a")->putInt("value", 1);
    disk->heal();
    map("b")->putInt("value", 2);
    EXPECT_EQ(machine.readFile("a.Harvelstone"), R"({"value":1})");
}

TEST_F(StorageRetry, AMapIsWrittenAtTheEndOfTheNextRecording) {
    disk->failEvery("rename", std::errc::no_space_on_device);
    map("a")->save();
    map("a")->putInt("value", 1);
    disk->heal();
    add("q", 1);
    EXPECT_TRUE(isOnDisk("a"));
}

TEST_F(StorageRetry, ARecordInMemoryIsWrittenAtTheEndOfTheNextOperation) {
    disk->failEvery("append", std::errc::no_space_on_device);
    add("q", 1);
    disk->heal();
    map("a")->putInt("value", 1);
    EXPECT_THAT(unreadOnDisk("q"), ElementsAre(1));
}

TEST_F(StorageRetry, ConsumptionBecomesDurableAtTheEndOfTheNextOperation) {
    add("q", 1);
    disk->failEvery("truncate", std::errc::io_error);
    EXPECT_THAT(drain("q"), ElementsAre(1));
    EXPECT_THAT(unreadOnDisk("q"), ElementsAre(1));
    disk->heal();
    map("a")->putInt("value", 1);
    EXPECT_THAT(unreadOnDisk("q"), IsEmpty());
}

TEST_F(StorageRetry, AFolderIsSyncedAtTheEndOfTheNextOperation) {
    add("q", 1);
    disk->failEvery("syncFolder", std::errc::io_error);
    add("r", 1);
    disk->heal();
    disk->clear();
    add("q", 2);
    EXPECT_EQ(disk->count("syncFolder"), 1U);
    add("q", 3);
    EXPECT_EQ(disk->count("syncFolder"), 1U) << "once it is done, it is done";
}

TEST_F(StorageRetry, AnOperationThatOnlyReadsTriesNothing) {
    disk->failEvery("rename", std::errc::no_space_on_device);
    map("a")->putInt("value", 1);
    map("b")->putInt("value", 1);
    disk->heal();
    {
        const StorageBatch scope;
        EXPECT_EQ(map("b")->get("value"), Value(1));
    }
    EXPECT_FALSE(isOnDisk("a"));
}

TEST_F(StorageRetry, NothingIsTriedBeforeTheEndOfAScope) {
    disk->failEvery("rename", std::errc::no_space_on_device);
    map("a")->putInt("value", 1);
    disk->heal();
    {
        const StorageBatch scope;
        map("a")->putInt("value", 2);
        add("q", 1);
        EXPECT_FALSE(isOnDisk("a"));
    }
    EXPECT_EQ(machine.readFile("a.Harvelstone"), R"({"value":2})");
}

TEST_F(StorageRetry, ALastingFailureCostsEachOperationLittle) {
    disk->failEvery("append", std::errc::no_space_on_device);
    for (int i = 0; i < 50; ++i) {
        map("map" + std::to_string(i))->putInt("value", 1);
        add("queue" + std::to_string(i), 1);
    }
    disk->failEvery("append", std::errc::no_space_on_device);
    add("queue0", 2);
    EXPECT_LT(disk->calls().size(), 100U);
}

TEST_F(StorageRetry, AfterALastingFailureEverythingIsWrittenInTheEnd) {
    disk->failEvery("append", std::errc::no_space_on_device);
    for (int i = 0; i < 50; ++i) {
        map("map" + std::to_string(i))->putInt("value", 1);
        add("queue" + std::to_string(i), i);
    }
    disk->heal();
    add("queue0", 2);
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(isOnDisk("map" + std::to_string(i)));
        EXPECT_THAT(unreadOnDisk("queue" + std::to_string(i)), Contains(i));
    }
}

TEST_F(StorageRetry, AFailureIsLoggedOnceHoweverOftenItIsTried) {
    disk->failEvery("append", std::errc::no_space_on_device);
    map("a")->putInt("value", 1);
    add("q", 1);
    for (int i = 0; i < 5; ++i) add("q", i);
    EXPECT_THAT(storeLines(), SizeIs(2));
}

// ---- A file that can be read only later ----

TEST_F(StorageRetry, WhatWasPutIsJoinedWithAFileThatIsReadLate) {
    machine.writeFile("m.Harvelstone", R"({"count":40,"other":"kept"})");
    disk->failEvery("open", std::errc::permission_denied);
    map("m")->setLateMerge([](Dictionary& put, const Dictionary& stored) {
        put["count"] = put["count"].integerValue() + stored.at("count").integerValue();
    });
    map("m")->putInt("count", 2);
    EXPECT_FALSE(map("m")->load());
    disk->heal();
    EXPECT_TRUE(map("m")->load());
    EXPECT_EQ(map("m")->get("count"), Value(42));
    map("a")->putInt("value", 1);
    EXPECT_EQ(machine.readFile("m.Harvelstone"), R"({"count":42,"other":"kept"})");
}

TEST_F(StorageRetry, AFileThatIsReadAtOnceIsNotJoined) {
    machine.writeFile("m.Harvelstone", R"({"count":40})");
    map("m")->setLateMerge([](Dictionary& put, const Dictionary&) { put["count"] = 0; });
    EXPECT_EQ(map("m")->get("count"), Value(40));
}

}  // namespace
}  // namespace harvelstone::testing
