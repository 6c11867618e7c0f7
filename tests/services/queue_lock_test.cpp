#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <sstream>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "harvelstone/platform/Fork.hpp"
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
using ::testing::Not;

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

/// Returns once the process at the other end of the pair of sockets has come here, too.
void meetAt(int end) {
    char byte = 'x';
    EXPECT_EQ(send(end, &byte, 1, MSG_NOSIGNAL), 1);
    EXPECT_EQ(recv(end, &byte, 1, 0), 1);
}

/// Two processes drain the same two queues, each beginning with the other one's second.
class QueuesOfTwoProcesses : public QueueLock {
  protected:
    static constexpr int rounds = 60;

    /// What this process gets. After the first round it waits for the other one, so that both get something.
    static std::vector<int> drainBoth(const std::array<const char*, 2>& queues, int endToMeetAt) {
        std::vector<int> numbers;
        for (int round = 0; round < rounds; ++round) {
            {
                const StorageBatch scope;
                for (const auto* queue : queues)
                    if (const int number = popNumber(queue); number >= 0) numbers.push_back(number);
            }
            if (round == 0) meetAt(endToMeetAt);
        }
        return numbers;
    }
};

TEST_F(QueuesOfTwoProcesses, DrainedInDifferentOrderLoseAndDoubleNothing) {
    TestPlatform::setSyncPolicy(platform::SyncPolicy::processExit);
    addAll("a", 0, rounds - 1);
    addAll("b", rounds, 2 * rounds - 1);
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const auto child = fork();
    close(ends[child == 0 ? 0 : 1]);
    if (child == 0) {
        platform::takeOverFromParent();  // else it works in a folder of its own
        std::string text;
        for (const int number : drainBoth({"b", "a"}, ends[1])) text += std::to_string(number) + "\n";
        machine.writeFile("popped", text);
        _exit(HasFailure() ? 1 : 0);
    }
    auto all = drainBoth({"a", "b"}, ends[0]);
    close(ends[0]);
    EXPECT_THAT(all, Not(IsEmpty()));
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    std::istringstream popped(machine.readFile("popped"));
    const std::vector<int> childs{std::istream_iterator<int>(popped), {}};
    EXPECT_THAT(childs, Not(IsEmpty()));
    all.insert(all.end(), childs.begin(), childs.end());
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
