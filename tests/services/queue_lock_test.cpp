#include <algorithm>
#include <chrono>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "harvelstone/services/PendingFrames.hpp"
#include "harvelstone/services/queue_format.hpp"

#include "tests/services/StorageTest.hpp"
#include "tests/support/LockHolder.hpp"

/// Queues whose file another process holds, and what is kept in memory meanwhile.
namespace harvelstone::testing {
namespace {

using std::chrono::steady_clock;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class QueueLock : public StorageTest {
  protected:
    std::string pathOf(const std::string& queue) const { return machine.folder + queue + ".Harvelstone"; }

    template <typename Call>
    static double secondsOf(Call call) {
        const auto start = steady_clock::now();
        call();
        return std::chrono::duration<double>(steady_clock::now() - start).count();
    }
};

TEST_F(QueueLock, HeldByAnotherProcessStallsTheFirstAddForAShortWhileAndTheOthersNotAtAll) {
    add("q", 1);
    const LockHolder holder(pathOf("q"));

    const auto first = secondsOf([] { add("q", 2); });
    const auto others = secondsOf([] { addAll("q", 3, 102); });

    EXPECT_GE(first, 0.4);
    EXPECT_LT(first, 5);
    EXPECT_LT(others, 5) << "a hundred waits would be fifty seconds";
    EXPECT_THAT(storeLines(), ElementsAre("could not write q.Harvelstone : Device or resource busy"));
}

TEST_F(QueueLock, LetGoLetsTheRecordsInBehindOneAnother) {
    add("q", 1);
    LockHolder holder(pathOf("q"));
    addAll("q", 2, 3);
    holder.letGo();
    add("q", 4);

    life([] { EXPECT_THAT(drain("q"), ElementsAre(1, 2, 3, 4)); });
}

TEST_F(QueueLock, LetGoWithinTheWaitIsNotNoticed) {
    add("q", 1);
    LockHolder holder(pathOf("q"));
    std::thread adding([] { add("q", 2); });
    holder.letGo();
    adding.join();

    EXPECT_THAT(storeLines(), IsEmpty());
    life([] { EXPECT_THAT(drain("q"), ElementsAre(1, 2)); });
}

TEST_F(QueueLock, HeldByAnotherProcessGivesNothingAndLosesNothing) {
    addAll("q", 1, 2);
    LockHolder holder(pathOf("q"));
    EXPECT_EQ(popNumber("q"), -1);
    EXPECT_EQ(popNumber("q"), -1);
    EXPECT_THAT(storeLines(), ElementsAre("could not read q.Harvelstone : Device or resource busy"));
    holder.letGo();

    EXPECT_THAT(drain("q"), ElementsAre(1, 2));
}

TEST_F(QueueLock, TakenByTwoProcessesInDifferentOrderEndsBothWaits) {
    for (const auto* queue : {"a", "b"}) addAll(queue, 1, 2);
    LockHolder other(pathOf("b"));  // as one that popped from b and now waits for a
    std::vector<int> numbers;
    {
        const StorageBatch scope;
        numbers.push_back(popNumber("a"));
        numbers.push_back(popNumber("b"));
    }
    EXPECT_THAT(numbers, ElementsAre(1, -1));
    const LockHolder went(pathOf("a"));  // the end of the scope let the other one in
    other.letGo();
    EXPECT_EQ(popNumber("b"), 1);
}

/// Two processes drain the same two queues, each beginning with the other one's second.
TEST_F(QueueLock, DrainedInDifferentOrderByTwoProcessesLosesAndDoublesNothing) {
    TestPlatform::setSyncPolicy(platform::SyncPolicy::processExit);
    constexpr int rounds = 60;
    addAll("a", 0, rounds - 1);
    addAll("b", rounds, 2 * rounds - 1);
    const auto drainBoth = [](const std::string& first, const std::string& second) {
        std::vector<int> numbers;
        for (int round = 0; round < rounds; ++round) {
            const StorageBatch scope;
            for (const auto& queue : {first, second})
                if (const int number = popNumber(queue); number >= 0) numbers.push_back(number);
        }
        return numbers;
    };
    const auto child = fork();
    if (child == 0) {
        std::string text;
        for (const int number : drainBoth("b", "a")) text += std::to_string(number) + "\n";
        machine.writeFile("popped", text);
        _exit(0);
    }
    auto all = drainBoth("a", "b");
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    std::istringstream popped(machine.readFile("popped"));
    for (int number = 0; popped >> number;) all.push_back(number);
    for (const auto* queue : {"a", "b"})
        for (const int number : drain(queue)) all.push_back(number);
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, numbersFromTo(0, 2 * rounds - 1));
}

class RecordsInMemory : public QueueLock {
  protected:
    void fillTheDisk() { disk->failEvery("append", std::errc::no_space_on_device); }

    static void addLong(const std::string& queue, int number, std::size_t bytes) {
        auto longRecord = record(number);
        longRecord.insert_or_assign("text", std::string(bytes, 'x'));
        QueueFile(queue).add(longRecord);
    }
};

TEST_F(RecordsInMemory, AreBoundedForAllQueuesTogetherAndTheNewestIsDroppedWithOneLine) {
    constexpr std::size_t each = 1U << 20U;
    constexpr int most = static_cast<int>(PendingFrames::mostBytes / each) - 1;
    fillTheDisk();
    for (int number = 1; number <= most; ++number) addLong(number % 2 == 0 ? "even" : "odd", number, each);
    EXPECT_EQ(storeLines().size(), 2U) << "one for each queue";
    for (int number = most + 1; number <= most + 4; ++number) addLong("odd", number, each);
    EXPECT_EQ(storeLines().back(), "could not keep another record of odd.Harvelstone : No buffer space available");
    EXPECT_EQ(storeLines().size(), 3U);
    disk->heal();

    auto numbers = drain("odd");
    for (const int number : drain("even")) numbers.push_back(number);
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, numbersFromTo(1, most));
}

TEST_F(RecordsInMemory, MakeRoomOnceTheyAreWritten) {
    constexpr std::size_t half = PendingFrames::mostBytes / 2 - 4096;
    for (int round = 1; round <= 3; ++round) {
        fillTheDisk();
        addLong("q", 2 * round - 1, half);
        addLong("q", 2 * round, half);
        disk->heal();
        EXPECT_THAT(drain("q"), ElementsAre(2 * round - 1, 2 * round));
    }
    EXPECT_EQ(storeLines().size(), 3U) << "one a round, for the disk";
}

TEST_F(RecordsInMemory, OfTheLongestKindAreKept) {
    fillTheDisk();
    addLong("q", 1, queue_format::longestPayload - 100);
    disk->heal();
    EXPECT_THAT(drain("q"), ElementsAre(1));
}

TEST_F(RecordsInMemory, AreWrittenInBatchesSoThatNoAddTriesAllOfThem) {
    fillTheDisk();
    for (int number = 1; number <= 8; ++number) addLong("q", number, 100'000);
    disk->heal();
    disk->clear();
    addLong("q", 9, 100'000);
    EXPECT_EQ(disk->count("append"), 5U) << "two records of a hundred kilobytes each, and the last";
    life([] { EXPECT_THAT(drain("q"), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9)); });
}

/// What a scope popped, some of it never written, goes back when another queue of the scope cannot be read.
TEST_F(RecordsInMemory, GoBackLikeThoseOfTheFile) {
    addAll("a", 1, 2);
    add("b", 9);
    fillTheDisk();
    addAll("a", 3, 4);
    const LockHolder holder(pathOf("b"));
    {
        const StorageBatch scope;
        EXPECT_THAT(drain("a"), ElementsAre(1, 2, 3, 4));
        EXPECT_EQ(popNumber("b"), -1);
        EXPECT_FALSE(storage_batch::keepsWhatItRead());
        EXPECT_TRUE(storage_batch::keepsWhatItRead()) << "nothing is claimed any more";
    }
    EXPECT_THAT(drain("a"), ElementsAre(1, 2, 3, 4));
}

TEST_F(QueueLock, AScopeThatCouldReadEverythingKeepsIt) {
    addAll("a", 1, 2);
    {
        const StorageBatch scope;
        drain("a");
        EXPECT_EQ(popNumber("none"), -1);
        EXPECT_TRUE(storage_batch::keepsWhatItRead());
    }
    EXPECT_EQ(popNumber("a"), -1);
}

}  // namespace
}  // namespace harvelstone::testing
