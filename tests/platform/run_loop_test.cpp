#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/HostRunLoop.hpp"
#include "harvelstone/platform/RunLoop.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using platform::HostRunLoop;
using platform::RunLoop;
using platform::Seconds;
using std::chrono::steady_clock;
using ::testing::ElementsAre;

TEST(RunningLoop, IsNoneOnAThreadThatRunsNone) { EXPECT_EQ(RunLoop::current(), nullptr); }

TEST(RunningLoop, IsTheInnermostAndThenTheOuterAgain) {
    const auto outer = std::make_shared<HostRunLoop>();
    const auto inner = std::make_shared<HostRunLoop>();
    {
        const RunLoop::Running runsOuter(outer);
        {
            const RunLoop::Running runsInner(inner);
            EXPECT_EQ(RunLoop::current(), inner);
        }
        EXPECT_EQ(RunLoop::current(), outer);
    }
    EXPECT_EQ(RunLoop::current(), nullptr);
}

TEST(RunningLoop, IsTheThreadsOwn) {
    const RunLoop::Running running(std::make_shared<HostRunLoop>());
    std::shared_ptr<RunLoop> elsewhere = RunLoop::current();
    std::thread([&] { elsewhere = RunLoop::current(); }).join();
    EXPECT_EQ(elsewhere, nullptr);
}

/// What every run loop keeps to, the fake one included: a loop, and a way to have done whatever falls due within half a
/// second.
struct Loop {
    std::string name;
    std::function<std::pair<std::shared_ptr<RunLoop>, std::function<void()>>()> make;
};

std::ostream& operator<<(std::ostream& stream, const Loop& loop) { return stream << loop.name; }

std::pair<std::shared_ptr<RunLoop>, std::function<void()>> pumped() {
    auto loop = std::make_shared<HostRunLoop>();
    return {loop, [loop] { loop->runUntilIdle(); }};
}

std::pair<std::shared_ptr<RunLoop>, std::function<void()>> manual() {
    auto loop = std::make_shared<ManualRunLoop>();
    return {loop, [loop] { loop->advance(0.5); }};
}

/// Waits until nothing that falls due within half a second is left.
void waitFor(RunLoop& loop) {
    std::promise<void> isDone;
    loop.callAfter(Seconds(0.5), [&] { isDone.set_value(); });
    isDone.get_future().wait();
}

std::pair<std::shared_ptr<RunLoop>, std::function<void()>> onWorker() {
    auto loop = platform::WorkerThreads().newOperationQueue();
    return {loop, [loop] { waitFor(*loop); }};
}

std::pair<std::shared_ptr<RunLoop>, std::function<void()>> onOwnThread() {
    auto loop = HostRunLoop::onOwnThread();
    return {loop, [loop] { waitFor(*loop); }};
}

class EveryRunLoop : public ::testing::TestWithParam<Loop> {
  protected:
    void finish() { finish_(); }
    void note(const std::string& what) {
        const std::lock_guard lock(mutex_);
        notes_.push_back(what);
    }
    std::vector<std::string> notes() {
        const std::lock_guard lock(mutex_);
        return notes_;
    }

    std::shared_ptr<RunLoop> loop_;

  private:
    void SetUp() override { std::tie(loop_, finish_) = GetParam().make(); }

    std::function<void()> finish_;
    std::mutex mutex_;
    std::vector<std::string> notes_;
};

TEST_P(EveryRunLoop, RunsTasksInTheOrderTheyWereHandedIn) {
    for (const char* name : {"a", "b", "c", "d"}) {
        loop_->post([this, name] { note(name); });
    }
    finish();
    EXPECT_THAT(notes(), ElementsAre("a", "b", "c", "d"));
}

TEST_P(EveryRunLoop, RunsDelayedTasksInTheOrderOfTheirTimes) {
    loop_->callAfter(Seconds(0.2), [this] { note("late"); });
    loop_->callAfter(Seconds(0.1), [this] { note("early"); });
    loop_->post([this] { note("at once"); });
    finish();
    EXPECT_THAT(notes(), ElementsAre("at once", "early", "late"));
}

TEST_P(EveryRunLoop, RunsWhatATaskHandsIn) {
    loop_->post([this] {
        note("outer");
        loop_->post([this] { note("posted"); });
        loop_->callAfter(Seconds(0.01), [this] { note("delayed"); });
    });
    finish();
    EXPECT_THAT(notes(), ElementsAre("outer", "posted", "delayed"));
}

TEST_P(EveryRunLoop, IsTheCurrentOneInsideItsTasks) {
    std::shared_ptr<RunLoop> seen;
    loop_->post([&] { seen = RunLoop::current(); });
    finish();
    EXPECT_EQ(seen, loop_);
    EXPECT_EQ(RunLoop::current(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EveryRunLoop,
                         ::testing::Values(Loop{"HostRunLoop", pumped}, Loop{"ManualRunLoop", manual},
                                           Loop{"OperationQueue", onWorker}, Loop{"OwnThread", onOwnThread}),
                         [](const auto& kind) { return kind.param.name; });

class HostLoop : public ::testing::Test {
  protected:
    std::shared_ptr<HostRunLoop> loop_ = std::make_shared<HostRunLoop>();
    int runs_ = 0;
    platform::Task countsRuns() {
        return [this] { ++runs_; };
    }
};

TEST_F(HostLoop, RunsNothingUntilItIsPumped) {
    loop_->post(countsRuns());
    EXPECT_EQ(runs_, 0);
    loop_->runReady();
    EXPECT_EQ(runs_, 1);
}

TEST_F(HostLoop, DoesNotWaitForWhatIsNotYetDue) {
    loop_->callAfter(Seconds(3600), countsRuns());
    loop_->post(countsRuns());
    loop_->runReady();
    EXPECT_EQ(runs_, 1);
}

TEST_F(HostLoop, IsNeverEarly) {
    for (const double delay : {0.001, 0.01, 0.0333}) {
        const auto start = steady_clock::now();
        loop_->callAfter(Seconds(delay), [&] { EXPECT_GE(Seconds(steady_clock::now() - start).count(), delay); });
        loop_->runUntilIdle();
    }
}

TEST_F(HostLoop, TakesANegativeOrMeaninglessDelayForNone) {
    loop_->callAfter(Seconds(-1), countsRuns());
    loop_->callAfter(Seconds(std::numeric_limits<double>::quiet_NaN()), countsRuns());
    loop_->runUntilIdle();
    EXPECT_EQ(runs_, 2);
}

TEST_F(HostLoop, TakesADelayBeyondTheClocksRange) {
    loop_->callAfter(Seconds(std::numeric_limits<double>::infinity()), countsRuns());
    loop_->callAfter(Seconds(1e300), countsRuns());
    loop_->runReady();
    EXPECT_EQ(runs_, 0);
}

TEST_F(HostLoop, PumpsForTheTimeAskedForEvenWithoutTasks) {
    const auto start = steady_clock::now();
    loop_->runFor(Seconds(0.05));
    EXPECT_GE(Seconds(steady_clock::now() - start).count(), 0.05);
}

TEST_F(HostLoop, RunsWhatAnotherThreadHandsInWhileItIsPumped) {
    std::thread other([this] {
        loop_->post([this] {
            ++runs_;
            loop_->stop();
        });
    });
    loop_->runFor(Seconds(20));
    other.join();
    EXPECT_EQ(runs_, 1);
}

TEST_F(HostLoop, LeavesTheRestForTheNextTimeWhenStopped) {
    loop_->post([this] { loop_->stop(); });
    loop_->post(countsRuns());
    loop_->runUntilIdle();
    EXPECT_EQ(runs_, 0);
    loop_->runUntilIdle();
    EXPECT_EQ(runs_, 1);
}

TEST_F(HostLoop, MayBePumpedByOneOfItsTasks) {
    loop_->post([this] {
        loop_->post(countsRuns());
        loop_->runReady();
        EXPECT_EQ(runs_, 1);
    });
    loop_->runReady();
    EXPECT_EQ(runs_, 1);
}

TEST_F(HostLoop, DropsTasksThatNeverRanWithItself) {
    const auto held = std::make_shared<int>(0);
    loop_->post([held] {});
    loop_->callAfter(Seconds(1), [held] {});
    loop_.reset();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(MainQueue, IsOneForTheProcess) {
    EXPECT_EQ(HostRunLoop::mainQueue(), HostRunLoop::mainQueue());
    EXPECT_NE(HostRunLoop::mainQueue(), nullptr);
}

TEST(OwnThread, IsAnotherThanTheCallers) {
    std::promise<std::thread::id> seen;
    HostRunLoop::onOwnThread()->post([&] { seen.set_value(std::this_thread::get_id()); });
    EXPECT_NE(seen.get_future().get(), std::this_thread::get_id());
}

TEST(RaisingTask, IsLoggedAndDroppedAndTheLoopGoesOn) {
    const TestPlatform machine;
    const auto loop = std::make_shared<HostRunLoop>();
    bool hasRun = false;
    loop->post([] { throw platform::InvalidArgumentException("no such key"); });
    loop->post([] { throw std::runtime_error("out of paper"); });
    loop->callAfter(Seconds(0), [] { throw 42; });
    loop->callAfter(Seconds(0.001), [&] { hasRun = true; });

    loop->runUntilIdle();

    EXPECT_TRUE(hasRun);
    EXPECT_THAT(machine.log->platformLines(),
                ElementsAre("harvelstone: a task raised an exception, dropped: InvalidArgumentException: no such key",
                            "harvelstone: a task raised an exception, dropped: out of paper",
                            "harvelstone: a task raised an exception, dropped: of an unknown kind"));
}

}  // namespace
}  // namespace harvelstone::testing
