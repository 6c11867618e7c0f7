#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <set>
#include <signal.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"

#include "tests/support/NoDescriptors.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using platform::RunLoop;
using platform::Seconds;
using platform::WorkerThreads;
using std::chrono::steady_clock;

constexpr Seconds longIdle{60};
constexpr Seconds shortIdle{0.02};

template <typename T>
T get(std::promise<T>& promise) {
    auto future = promise.get_future();
    if (future.wait_for(std::chrono::seconds(20)) != std::future_status::ready) throw std::runtime_error("too late");
    return future.get();
}

/// The thread that runs a task of the queue.
std::thread::id threadOf(RunLoop& queue) {
    std::promise<std::thread::id> thread;
    queue.post([&] { thread.set_value(std::this_thread::get_id()); });
    return get(thread);
}

template <typename Condition>
bool becomesTrue(Condition condition) {
    const auto end = steady_clock::now() + std::chrono::seconds(20);
    while (!condition() && steady_clock::now() < end) std::this_thread::yield();
    return condition();
}

TEST(Workers, MakeNoThreadBeforeThereIsWork) {
    WorkerThreads workers(longIdle);
    const auto queue = workers.newOperationQueue();
    EXPECT_EQ(workers.threadCount(), 0U);
    threadOf(*queue);
    EXPECT_EQ(workers.threadCount(), 1U);
}

TEST(Workers, GiveEachRequestAQueueOfItsOwn) {
    WorkerThreads workers(longIdle);
    EXPECT_NE(workers.newOperationQueue(), workers.newOperationQueue());
}

TEST(Workers, ServeTheNextQueueWithAThreadThatIsFree) {
    WorkerThreads workers(longIdle);
    std::set<std::thread::id> threads;
    for (int i = 0; i < 100; ++i) {
        threads.insert(threadOf(*workers.newOperationQueue()));
        // The thread is free a moment after the task; without waiting for that, a second one may rightly be made.
        std::this_thread::yield();
    }
    EXPECT_LE(workers.threadCount(), 3U);
    EXPECT_EQ(threads.size(), workers.threadCount());
}

TEST(Workers, RunQueuesSideBySide) {
    WorkerThreads workers(longIdle);
    std::promise<void> came;
    std::promise<void> done;
    workers.newOperationQueue()->post([&] {
        get(came);  // would wait for ever if the second queue had to wait for the first
        done.set_value();
    });
    workers.newOperationQueue()->post([&] { came.set_value(); });
    get(done);
    EXPECT_EQ(workers.threadCount(), 2U);
}

TEST(Workers, RunTheTasksOfOneQueueOneAfterAnother) {
    WorkerThreads workers(longIdle);
    const auto queue = workers.newOperationQueue();
    std::atomic<int> inside = 0;
    std::atomic<int> runs = 0;
    std::atomic<bool> didOverlap = false;
    const auto task = [&] {
        if (++inside > 1) didOverlap = true;
        --inside;
        ++runs;
    };
    std::vector<std::thread> posters;
    for (int i = 0; i < 4; ++i) {
        posters.emplace_back([&] {
            for (int k = 0; k < 500; ++k) queue->post(task);
        });
    }
    for (auto& poster : posters) poster.join();
    EXPECT_TRUE(becomesTrue([&] { return runs == 2000; }));
    EXPECT_FALSE(didOverlap);
}

TEST(Workers, KeepAQueueThatNobodyHoldsUntilItsTimerHasRun) {
    WorkerThreads workers(shortIdle);
    std::promise<std::shared_ptr<RunLoop>> seen;
    auto queue = workers.newOperationQueue();
    const auto* address = queue.get();
    queue->post([&] { RunLoop::current()->callAfter(Seconds(0.1), [&] { seen.set_value(RunLoop::current()); }); });
    queue.reset();
    EXPECT_EQ(get(seen).get(), address);
}

TEST(Workers, EndAfterAnIdleTimeAndComeBackWhenThereIsWork) {
    WorkerThreads workers(shortIdle);
    const auto queue = workers.newOperationQueue();
    threadOf(*queue);
    EXPECT_TRUE(becomesTrue([&] { return workers.threadCount() == 0; }));
    threadOf(*queue);
    EXPECT_TRUE(becomesTrue([&] { return workers.threadCount() == 0; }));
}

TEST(Workers, LetGoOfAQueueAfterItsLastTask) {
    WorkerThreads workers(longIdle);
    auto queue = workers.newOperationQueue();
    const std::weak_ptr<RunLoop> watched = queue;
    threadOf(*queue);
    queue.reset();
    EXPECT_TRUE(becomesTrue([&] { return watched.expired(); }));
}

TEST(Workers, GoOnAfterATaskThatRaises) {
    const TestPlatform machine;
    WorkerThreads workers(longIdle);
    const auto queue = workers.newOperationQueue();
    queue->post([] { throw std::runtime_error("out of paper"); });
    threadOf(*queue);
    EXPECT_THAT(machine.log->platformLines(),
                ::testing::ElementsAre("harvelstone: a task raised an exception, dropped: out of paper"));
}

#if !defined(HARVELSTONE_ADDRESS_SANITIZER)  // see NoDescriptors
/// Whether a timer of the queue comes to run.
bool runsTimer(RunLoop& queue) {
    std::promise<bool> done;
    queue.callAfter(Seconds(0), [&] { done.set_value(true); });
    return get(done);
}

TEST(Workers, GiveEachQueueWhatItsTimersNeedWhenItIsMade) {
    WorkerThreads workers(longIdle);
    const auto queue = workers.newOperationQueue();
    threadOf(*queue);
    const NoDescriptors shortage;

    EXPECT_TRUE(runsTimer(*queue));
    EXPECT_THROW(workers.newOperationQueue(), platform::Exception);
}

TEST(Workers, MakeAMainQueueWithoutTimersWhenTheSystemHasNoneLeft) {
    WorkerThreads workers(shortIdle);
    std::shared_ptr<RunLoop> queue;
    {
        const NoDescriptors shortage;
        queue = workers.newMainQueue();
        EXPECT_THROW(queue->callAfter(Seconds(0), [] {}), platform::Exception);
        threadOf(*queue);
        EXPECT_TRUE(becomesTrue([&] { return workers.threadCount() == 0; })) << "the refused timer counts as no work";
    }
    EXPECT_TRUE(runsTimer(*queue));
}
#endif

TEST(Workers, KeepServingQueuesWhenTheirOwnerIsGone) {
    auto workers = std::make_unique<WorkerThreads>(shortIdle);
    const auto queue = workers->newOperationQueue();
    workers.reset();
    EXPECT_NE(threadOf(*queue), std::this_thread::get_id());
}

TEST(Workers, LeaveSignalsToTheHostsThreads) {
    WorkerThreads workers(longIdle);
    std::promise<sigset_t> seen;
    workers.newOperationQueue()->post([&] {
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        seen.set_value(blocked);
    });
    const auto blocked = get(seen);
    for (const int number : {SIGTERM, SIGUSR1, SIGPIPE, SIGALRM}) EXPECT_EQ(sigismember(&blocked, number), 1);
    for (const int number : {SIGSEGV, SIGABRT}) EXPECT_EQ(sigismember(&blocked, number), 0);
    sigset_t ours;
    pthread_sigmask(SIG_SETMASK, nullptr, &ours);
    EXPECT_EQ(sigismember(&ours, SIGTERM), 0) << "the caller's own signals are as before";
}

TEST(Workers, GoOnWithAQueueWhoseTaskHasEndedItsThread) {
    WorkerThreads workers(longIdle);
    const auto queue = workers.newOperationQueue();
    queue->post([] { pthread_exit(nullptr); });
    threadOf(*queue);
    EXPECT_EQ(workers.threadCount(), 1U);
}

#if !defined(HARVELSTONE_THREAD_SANITIZER)  // which allows no thread in a child of a process that had several
TEST(Workers, ServeAForkedChildWithThreadsOfItsOwn) {
    WorkerThreads workers(longIdle);
    threadOf(*workers.newOperationQueue());
    const auto child = fork();
    if (child == 0) {
        alarm(20);
        threadOf(*workers.newOperationQueue());
        _exit(workers.threadCount() == 1 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}
#endif

TEST(Workers, DoNotDisturbAHostThatExits) {
    const auto exitAtWork = [] {
        auto* workers = new WorkerThreads(longIdle);
        std::promise<void> isAtWork;
        static std::atomic<bool> goesOn = true;
        workers->newOperationQueue()->post([&] {
            isAtWork.set_value();
            while (goesOn) std::this_thread::yield();
        });
        workers->newOperationQueue()->callAfter(Seconds(3600), [] {});
        get(isAtWork);
        std::exit(0);
    };
    EXPECT_EXIT(exitAtWork(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace harvelstone::testing
