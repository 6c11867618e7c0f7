// Record queues on a disk that fails, in processes that are killed, and used by many at once.

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "harvelstone/services/queue_format.hpp"

#include "tests/services/StorageTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using Duration = FaultyFileSystem::Duration;

class QueueFaults : public StorageTest {
  protected:
    void fillTheDisk() { disk->failEvery("append", std::errc::no_space_on_device); }

    /// The record can be synced no more than it can be taken back.
    void addUnsynced(const std::string& queue, int number) {
        disk->failFromTheNext("sync", std::errc::io_error);
        add(queue, number);
        disk->heal();
        disk->clear();
    }

    /// The numbers that processes wrote, one file a process.
    std::vector<int> writtenNumbers(const std::string& start) const {
        std::vector<int> numbers;
        for (const auto& file : machine.storedFiles()) {
            if (!file.starts_with(start)) continue;
            std::istringstream text(machine.readFile(file));
            for (int number = 0; text >> number;) numbers.push_back(number);
        }
        std::sort(numbers.begin(), numbers.end());
        return numbers;
    }
};

TEST_F(QueueFaults, AFullDiskKeepsRecordsInMemoryAndLogsOnce) {
    add("q", 1);
    fillTheDisk();
    addAll("q", 2, 4);
    EXPECT_THAT(storeLines(), ElementsAre("could not write q.Harvelstone : No space left on device"));
    disk->heal();
    add("q", 5);
    life([] { EXPECT_THAT(drain("q"), ElementsAre(1, 2, 3, 4, 5)); });
}

TEST_F(QueueFaults, RecordsInMemoryAreWrittenWhenTheQueueIsOpenedNext) {
    fillTheDisk();
    addAll("q", 1, 2);
    disk->heal();
    const StorageBatch scope;
    EXPECT_EQ(popNumber("q"), 1);
    EXPECT_GT(machine.readFile("q.Harvelstone").size(), 2 * queue_format::frameHeadSize);
    EXPECT_EQ(popNumber("q"), 2);
    EXPECT_EQ(popNumber("q"), -1);
}

TEST_F(QueueFaults, RecordsThatCannotBeWrittenAreReadBehindThoseOfTheFile) {
    addAll("q", 1, 2);
    fillTheDisk();
    addAll("q", 3, 4);
    EXPECT_THAT(drain("q"), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(popNumber("q"), -1);
}

TEST_F(QueueFaults, RecordsOfAFileThatCannotBeMadeAreReadFromMemory) {
    disk->failEvery("makeFolder", std::errc::read_only_file_system);
    std::filesystem::remove_all(machine.documents);
    addAll("q", 1, 2);
    EXPECT_THAT(drain("q"), ElementsAre(1, 2));
    EXPECT_EQ(storeLines().size(), 2U) << "one for the folder, one for the queue";
}

TEST_F(QueueFaults, AQueueThatCannotBeReadGivesNothingOutOfOrder) {
    add("q", 1);
    fillTheDisk();
    add("q", 2);
    disk->failEvery("open", std::errc::permission_denied);
    EXPECT_EQ(popNumber("q"), -1);
    disk->heal();
    EXPECT_THAT(drain("q"), ElementsAre(1, 2));
}

TEST_F(QueueFaults, APartlyWrittenFrameIsTakenBack) {
    add("q", 1);
    const auto before = machine.readFile("q.Harvelstone");
    for (std::size_t part = 0; part <= before.size() - queue_format::headerSize; ++part) {
        disk->writeBeforeFailing(part);
        fillTheDisk();
        add("q", 2);
        EXPECT_EQ(machine.readFile("q.Harvelstone"), before) << part;
        disk->heal();
        EXPECT_THAT(drain("q"), ElementsAre(1, 2)) << part;
        add("q", 1);
        EXPECT_EQ(machine.readFile("q.Harvelstone").size(), before.size());
        machine.writeFile("q.Harvelstone", before);
    }
}

TEST_F(QueueFaults, AFailedWriteTakesNothingBackFromARecordThatReadsTheSame) {
    addAll("q", 1, 1);
    const auto frame = machine.readFile("q.Harvelstone").size() - queue_format::headerSize;
    for (const std::size_t part : {std::size_t{0}, std::size_t{1}, frame / 2, frame - 1}) {
        disk->writeBeforeFailing(part);
        fillTheDisk();
        add("q", 1);
        add("q", 1);
        disk->heal();
        EXPECT_THAT(drain("q"), ElementsAre(1, 1, 1)) << part;
        add("q", 1);
    }
}

TEST_F(QueueFaults, ARecordGoesIntoTheFileThatFollowsTheOneAnotherProcessRemoves) {
    add("q", 1);
    bool isRemoved = false;
    disk->beforeCall = [&](std::size_t) {
        if (disk->calls().back() != "lock q.Harvelstone" || isRemoved) return;
        isRemoved = std::filesystem::remove(storedFilePath("q"));
    };
    add("q", 2);
    EXPECT_TRUE(isRemoved);
    EXPECT_THAT(drain("q"), ElementsAre(2));
    EXPECT_THAT(storeLines(), IsEmpty());
}

TEST_F(QueueFaults, APartlyWrittenFrameThatCannotBeTakenBackDoesNoHarm) {
    add("q", 1);
    disk->writeBeforeFailing(20);
    disk->failCall(3, std::errc::io_error, Duration::lasting);
    add("q", 2);
    disk->heal();
    add("q", 3);
    EXPECT_THAT(drain("q"), ElementsAre(1, 2, 3));
    EXPECT_THAT(storeLines(), ElementsAre("could not write q.Harvelstone : Input/output error"));
}

TEST_F(QueueFaults, RecordsThatWereWrittenWithAPartOfTheNextAndCannotBeTakenBackAreNotWrittenAgain) {
    add("q", 0);
    const auto frame = machine.readFile("q.Harvelstone").size() - queue_format::headerSize;
    for (const bool isNewFile : {false, true})
        for (std::size_t part = 0; part <= queue_format::headerSize + 3 * frame; part += 5) {
            const auto queue = "q" + std::to_string(part) + (isNewFile ? "-new" : "");
            if (!isNewFile) add(queue, 1);
            fillTheDisk();
            addAll(queue, isNewFile ? 1 : 2, 3);
            disk->writeBeforeFailing(part);
            disk->failFromTheNext("append", std::errc::io_error);
            add(queue, 4);
            disk->heal();
            disk->writeBeforeFailing(0);
            add(queue, 5);
            EXPECT_THAT(drain(queue), ElementsAre(1, 2, 3, 4, 5)) << part;
        }
}

TEST_F(QueueFaults, ARecordThatCannotBeSyncedIsWrittenOnce) {
    add("q", 1);
    disk->failEvery("sync", std::errc::io_error);
    add("q", 2);
    disk->heal();
    add("q", 3);
    EXPECT_THAT(drain("q"), ElementsAre(1, 2, 3));
}

TEST_F(QueueFaults, ARecordThatCouldNotBeSyncedIsSyncedByTheNextOperationThatWrites) {
    add("q", 1);
    addUnsynced("q", 2);
    add("another", 1);
    EXPECT_THAT(disk->calls(), Contains("sync q.Harvelstone"));
    disk->clear();
    add("another", 2);
    EXPECT_THAT(disk->calls(), Not(Contains("sync q.Harvelstone")));
    EXPECT_THAT(drain("q"), ElementsAre(1, 2));
}

TEST_F(QueueFaults, ARecordThatCouldNotBeSyncedIsSyncedThoughTheFileHasBeenReadAndGivenBackSince) {
    add("q", 1);
    add("unreadable", 1);
    addUnsynced("q", 2);
    {
        const StorageBatch scope;
        EXPECT_EQ(popNumber("q"), 1);
        disk->failEvery("open", std::errc::io_error);
        EXPECT_EQ(popNumber("unreadable"), -1);
        disk->heal();
        EXPECT_FALSE(storage_batch::keepsWhatItRead());
    }
    disk->clear();
    add("another", 1);
    EXPECT_THAT(disk->calls(), Contains("sync q.Harvelstone"));
    EXPECT_THAT(drain("q"), ElementsAre(1, 2));
}

TEST_F(QueueFaults, ARecordThatCouldNotBeSyncedAndWhoseFileHasGoneIsForgotten) {
    add("q", 1);
    addUnsynced("q", 2);
    std::filesystem::remove(storedFilePath("q"));
    EXPECT_EQ(popNumber("q"), -1);
    disk->clear();
    add("another", 1);
    EXPECT_THAT(disk->calls(), Not(Contains("sync q.Harvelstone")));
    disk->clear();
    add("another", 2);
    EXPECT_THAT(disk->calls(), Not(Contains("open q.Harvelstone")));
}

TEST_F(QueueFaults, AFileThatIsHeldIsSyncedAgainWithoutBeingOpenedAgain) {
    add("q", 1);
    addUnsynced("q", 2);
    const StorageBatch scope;
    EXPECT_EQ(popNumber("q"), 1);
    disk->clear();
    std::thread([] { add("another", 1); }).join();
    EXPECT_THAT(disk->calls(), Contains("sync q.Harvelstone"));
    EXPECT_THAT(disk->calls(), Not(Contains("open q.Harvelstone")));
}

TEST_F(QueueFaults, ADiskThatFailsFromTheSyncOnCostsOneLineForTheSyncAndOneForTheWrites) {
    add("q", 1);
    disk->failCall(4, std::errc::io_error, Duration::lasting);
    for (int number = 2; number < 5; ++number) add("q", number);
    disk->heal();
    EXPECT_THAT(drain("q"), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(storeLines(), ElementsAre("could not sync q.Harvelstone : Input/output error",
                                          "could not write q.Harvelstone : Input/output error"));
}

/// Fails call 1, 2, 3, ... of what `check` does until it runs through.
template <typename Check>
int forEveryFault(FaultyFileSystem& disk, Check check) {
    int points = 0;
    for (const auto duration : {Duration::once, Duration::lasting})
        for (const auto error : {std::errc::no_space_on_device, std::errc::io_error, std::errc::too_many_files_open}) {
            bool hasFailed = true;
            for (std::size_t number = 1; hasFailed && number < 200; ++number, ++points) {
                SCOPED_TRACE("call " + std::to_string(number));
                hasFailed = check([&] { disk.failCall(number, error, duration); });
                disk.heal();
            }
            EXPECT_FALSE(hasFailed);
        }
    return points;
}

TEST_F(QueueFaults, NoRecordIsLostOrDoubledWhicheverCallOfAnAddFails) {
    int round = 0;
    const auto points = forEveryFault(*disk, [&](auto fail) {
        const auto queue = "q" + std::to_string(++round);
        fail();
        addAll(queue, 1, 2);
        const bool hasFailed = disk->hasFailed();
        disk->heal();
        add(queue, 3);
        life([&] { EXPECT_THAT(drain(queue), ElementsAre(1, 2, 3)); });
        return hasFailed;
    });
    RecordProperty("points", points);
}

TEST_F(QueueFaults, NoRecordIsLostOrDoubledWhicheverCallOfADrainFails) {
    int round = 0;
    const auto points = forEveryFault(*disk, [&](auto fail) {
        const auto queue = "q" + std::to_string(++round);
        life([&] { addAll(queue, 1, 3); });
        fail();
        auto numbers = drain(queue);
        const bool hasFailed = disk->hasFailed();
        disk->heal();
        for (const int number : drain(queue)) numbers.push_back(number);
        EXPECT_THAT(numbers, ElementsAre(1, 2, 3));
        EXPECT_LE(machine.readFile(queue + ".Harvelstone").size(), queue_format::headerSize);
        return hasFailed;
    });
    RecordProperty("points", points);
}

TEST_F(QueueFaults, AnAddThatReturnedSurvivesAKillAtAnyCall) {
    for (std::size_t number = 1; number <= 12; ++number) {
        const auto queue = "q" + std::to_string(number);
        lifeUntilKilled([&] {
            std::size_t calls = 0;
            std::string acknowledged;
            disk->beforeCall = [&](std::size_t) {
                if (++calls != number) return;
                machine.writeFile(queue + "-acknowledged", acknowledged);
                dieHere();
            };
            for (int added = 1; added < 100; ++added) {
                add(queue, added);
                acknowledged = std::to_string(added);
            }
        });
        life([&] {
            const auto text = machine.readFile(queue + "-acknowledged");
            const int acknowledged = text.empty() ? 0 : std::stoi(text);
            const auto numbers = drain(queue);
            EXPECT_GE(static_cast<int>(numbers.size()), acknowledged);
            EXPECT_LE(static_cast<int>(numbers.size()), acknowledged + 1);
            EXPECT_EQ(numbers, numbersFromTo(1, static_cast<int>(numbers.size())));
        });
    }
}

TEST_F(QueueFaults, ThreadsThatAddAndDrainAtOnceLoseAndDoubleNothing) {
    TestPlatform::setSyncPolicy(platform::SyncPolicy::processExit);
    constexpr int perThread = 200;
    std::vector<std::vector<int>> popped(2);
    std::atomic<int> running = 2;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([&, thread] {
            addAll("q", thread * perThread, (thread + 1) * perThread - 1);
            --running;
        });
        threads.emplace_back([&popped, &running, thread] {
            auto& mine = popped[static_cast<std::size_t>(thread)];
            for (bool isLast = false; !isLast;) {
                isLast = running == 0;
                const StorageBatch scope;
                for (int number = popNumber("q"); number >= 0; number = popNumber("q")) mine.push_back(number);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    auto all = popped[0];
    all.insert(all.end(), popped[1].begin(), popped[1].end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, numbersFromTo(0, 2 * perThread - 1));
    EXPECT_EQ(machine.readFile("q.Harvelstone").size(), queue_format::headerSize);
}

/// Runs pieces in child processes at the same time.
class Processes {
  public:
    void start(const std::function<void()>& piece) {
        const auto child = fork();
        if (child == 0) {
            piece();
            _exit(::testing::Test::HasFailure() ? 1 : 0);
        }
        children_.push_back(child);
    }
    void wait() {
        for (const auto child : children_) {
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0);
        }
    }

  private:
    std::vector<pid_t> children_;
};

TEST_F(QueueFaults, ProcessesThatAddAndDrainAtOnceLoseAndDoubleNothing) {
    TestPlatform::setSyncPolicy(platform::SyncPolicy::processExit);
    constexpr int perProcess = 150;
    Processes processes;
    for (int process = 0; process < 3; ++process)
        processes.start([this, process] {
            std::string popped;
            for (int number = process * perProcess; number < (process + 1) * perProcess; ++number) {
                add("q", number);
                if (number % 10 != 9) continue;
                for (const int one : drain("q")) popped += std::to_string(one) + "\n";
            }
            machine.writeFile("popped-" + std::to_string(process), popped);
            EXPECT_THAT(storeLines(), IsEmpty());
        });
    processes.wait();
    auto all = writtenNumbers("popped-");
    for (const int left : drain("q")) all.push_back(left);
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, numbersFromTo(0, 3 * perProcess - 1));
    EXPECT_THAT(storeLines(), IsEmpty());
}

}  // namespace
}  // namespace harvelstone::testing
