#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/map_format.hpp"
#include "harvelstone/services/queue_format.hpp"
#include "harvelstone/services/queue_scan.hpp"

#include "tests/services/StorageTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class StorageBatchTest : public StorageTest {
  protected:
    /// The maps in the order of their commits.
    std::vector<std::string> commits() const {
        std::vector<std::string> names;
        for (const auto& call : disk->calls())
            if (call.starts_with("rename ")) names.push_back(call.substr(7, call.find(".tmp-") - 7));
        return names;
    }
    /// What a document's assembly does: the records of the queue go into the map, unless they did before.
    static void assemble() {
        const StorageBatch scope;
        if (map("document")->has("records")) return;
        List records;
        QueueFile queue("q");
        while (auto popped = queue.pop()) records.emplace_back(std::move(*popped));
        map("document")->putMutableArray("records", std::move(records));
        map("other")->putInt("count", 1);
    }
};

TEST_F(StorageBatchTest, CommitsEachMapOnceAndSyncsTheFolderOnce) {
    {
        const StorageBatch scope;
        for (int value = 0; value < 5; ++value) {
            map("a")->putInt("value", value);
            map("b")->putInt("value", value);
        }
        EXPECT_THAT(machine.storedFiles(), IsEmpty());
    }
    EXPECT_THAT(commits(), ElementsAre("a", "b"));
    EXPECT_EQ(disk->count("syncFolder"), 2U) << "one for the new folder's parent, one for the batch";
    EXPECT_EQ(machine.readFile("b.Harvelstone"), R"({"value":4})");
}

TEST_F(StorageBatchTest, CommitsInTheOrderOfTheLastPut) {
    {
        const StorageBatch scope;
        map("a")->putInt("value", 1);
        map("b")->putInt("value", 1);
        map("c")->putInt("value", 1);
        map("a")->putInt("value", 2);
    }
    EXPECT_THAT(commits(), ElementsAre("b", "c", "a"));
}

TEST_F(StorageBatchTest, APutIsVisibleToOtherThreadsAtOnce) {
    const StorageBatch scope;
    map("a")->putInt("value", 1);
    std::thread([] { EXPECT_EQ(map("a")->get("value"), Value(1)); }).join();
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
}

TEST_F(StorageBatchTest, CollectsForItsOwnThreadOnly) {
    const StorageBatch scope;
    std::thread([] { map("a")->putInt("value", 1); }).join();
    EXPECT_EQ(machine.readFile("a.Harvelstone"), R"({"value":1})");
}

TEST_F(StorageBatchTest, AnInnerScopeJoinsTheOuterOne) {
    {
        const StorageBatch outer;
        {
            const StorageBatch inner;
            map("a")->putInt("value", 1);
        }
        EXPECT_THAT(machine.storedFiles(), IsEmpty());
    }
    EXPECT_THAT(machine.storedFiles(), ElementsAre("a.Harvelstone"));
}

TEST_F(StorageBatchTest, AnExceptionEndsItTheSameWay) {
    addAll("q", 1, 2);
    const auto operation = [] {
        const StorageBatch scope;
        map("a")->putInt("value", popNumber("q"));
        throw std::runtime_error("in the middle");
    };
    EXPECT_THROW(operation(), std::runtime_error);
    EXPECT_EQ(machine.readFile("a.Harvelstone"), R"({"value":1})");
    life([] { EXPECT_THAT(drain("q"), ElementsAre(2)); });
}

TEST_F(StorageBatchTest, CommitEndsTheWorkAndTheScopeGoesOnEmpty) {
    add("q", 1);
    StorageBatch scope;
    map("a")->putInt("value", popNumber("q"));
    scope.commit();
    EXPECT_EQ(machine.readFile("a.Harvelstone"), R"({"value":1})");
    EXPECT_EQ(machine.readFile("q.Harvelstone").size(), queue_format::headerSize);
    map("a")->putInt("value", 2);
    EXPECT_EQ(machine.readFile("a.Harvelstone"), R"({"value":1})");
    scope.commit();
    EXPECT_EQ(machine.readFile("a.Harvelstone"), R"({"value":2})");
}

TEST_F(StorageBatchTest, CommitOfAnInnerScopeEndsTheWorkOfTheOuterOne) {
    const StorageBatch outer;
    map("a")->putInt("value", 1);
    StorageBatch inner;
    inner.commit();
    EXPECT_EQ(machine.readFile("a.Harvelstone"), R"({"value":1})");
}

TEST_F(StorageBatchTest, ConsumesOnDiskOnlyAfterEveryMapIsOnDisk) {
    addAll("q", 1, 2);
    disk->clear();
    assemble();
    const auto calls = disk->calls();
    const auto placeOf = [&](std::string_view call) {
        return std::find(calls.begin(), calls.end(), call) - calls.begin();
    };
    EXPECT_THAT(commits(), ElementsAre("document", "other"));
    EXPECT_LT(placeOf("rename " + temporaryName("other") + " other.Harvelstone"), placeOf("syncFolder"));
    EXPECT_LT(placeOf("syncFolder"), placeOf("truncate q.Harvelstone"));
    EXPECT_LT(placeOf("truncate q.Harvelstone"), placeOf("sync q.Harvelstone"));
    EXPECT_LT(placeOf("sync q.Harvelstone"), std::ssize(calls));
}

TEST_F(StorageBatchTest, KilledAnywhereTheRecordsAreInTheMapOrInTheQueue) {
    std::size_t callCount = 1;
    for (std::size_t point = 0; point <= callCount; ++point) {
        SCOPED_TRACE("killed at call " + std::to_string(point));
        for (const auto& file : machine.storedFiles()) std::filesystem::remove(storageFolder() + file);
        life([] { addAll("q", 1, 3); });
        const auto piece = [&] {
            disk->beforeCall = [&](std::size_t call) {
                if (call == point) dieHere();
            };
            assemble();
            machine.writeFile("count", std::to_string(disk->calls().size()));
        };
        point == 0 ? life(piece) : lifeUntilKilled(piece);  // the first round only counts
        if (point == 0) callCount = std::stoul(machine.readFile("count"));
        life([] {
            assemble();
            EXPECT_EQ(map("document")->getMutableArray("records"), (List{record(1), record(2), record(3)}));
        });
    }
    EXPECT_GT(callCount, 15U);
}

TEST_F(StorageBatchTest, RecordsStayInTheFileUntilTheirMapCanBeWritten) {
    life([] { addAll("q", 1, 3); });
    disk->failEvery("rename", std::errc::no_space_on_device);
    assemble();
    EXPECT_THAT(drain("q"), IsEmpty()) << "they are gone for this process";
    const auto unread = [&] {
        const auto bytes = machine.readFile("q.Harvelstone");
        return readQueueContents(std::as_bytes(std::span(bytes))).unread.size();
    };
    EXPECT_EQ(unread(), 3U);
    disk->heal();
    {
        const StorageBatch scope;
        map("document")->save();
        EXPECT_EQ(unread(), 3U) << "another map of the assembly is still unwritten";
    }
    EXPECT_EQ(unread(), 0U);
    EXPECT_EQ(machine.readFile("q.Harvelstone").size(), queue_format::headerSize);
}

TEST_F(StorageBatchTest, RecordsThatWaitForTheirMapKeepNoOtherProcessOut) {
    add("q", 1);
    disk->failEvery("rename", std::errc::no_space_on_device);
    assemble();
    disk->heal();
    life([] { add("q", 2); });
    map("document")->save();
    map("other")->save();
    life([] { EXPECT_THAT(drain("q"), ElementsAre(2)); });
}

TEST_F(StorageBatchTest, AFolderThatCannotBeSyncedHoldsTheConsumptionBack) {
    add("q", 1);
    disk->failEvery("syncFolder", std::errc::io_error);
    assemble();
    EXPECT_GT(machine.readFile("q.Harvelstone").size(), queue_format::headerSize);
    disk->heal();
    map("third")->putInt("a", 1);
    EXPECT_EQ(machine.readFile("q.Harvelstone").size(), queue_format::headerSize);
}

TEST_F(StorageBatchTest, ScopesOfTwoThreadsConsumeTheirOwnRecordsOnly) {
    addAll("q", 1, 4);
    const StorageBatch scope;
    EXPECT_EQ(popNumber("q"), 1);
    std::thread([] {
        const StorageBatch inner;
        EXPECT_EQ(popNumber("q"), 2);
    }).join();
    EXPECT_EQ(popNumber("q"), 3);
    const auto bytes = machine.readFile("q.Harvelstone");
    std::vector<int> unread;
    for (const auto& left : readQueueContents(std::as_bytes(std::span(bytes))).unread) unread.push_back(numberOf(left));
    EXPECT_THAT(unread, ElementsAre(1, 3, 4)) << "only the other thread's scope has ended";
}

/// A host's log sink that records something itself.
class StoringLog final : public platform::Log {
  public:
    void platformLine(std::string_view /*line*/) noexcept override {}
    void debugLine(std::string_view line) noexcept override {
        if (std::exchange(isStoring_, true)) return;
        TinyMap::sharedInstance().get("a")->putString("line", std::string(line));
        QueueFile("q").add({{"number", 7}});
        isStoring_ = false;
    }

  private:
    bool isStoring_ = false;
};

TEST_F(StorageBatchTest, ALogSinkMayStoreWhileABatchEnds) {
    platform::Platform::current().log = std::make_shared<StoringLog>();
    disk->failEvery("append", std::errc::no_space_on_device);
    map("a")->putInt("value", 1);
    EXPECT_EQ(map("a")->get("value"), Value(1));
    EXPECT_EQ(map("a")->get("line"),
              Value("DEBUG_HARVELSTONE_STORE : could not write a.Harvelstone : No space left on device"));
    EXPECT_EQ(popNumber("q"), 7);
}

}  // namespace
}  // namespace harvelstone::testing
