#include "harvelstone/platform/Platform.hpp"

#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "harvelstone/platform/Exception.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using platform::InvalidArgumentException;
using platform::Platform;

TEST(InstalledPlatform, ServesFromThenOn) {
    const auto clock = std::make_shared<FakeClock>();
    Platform machine;
    machine.clock = clock;
    machine.syncPolicy = platform::SyncPolicy::processExit;

    Platform::install(machine);

    EXPECT_EQ(Platform::current().clock, clock);
    EXPECT_EQ(Platform::current().syncPolicy, platform::SyncPolicy::processExit);
}

TEST(InstalledPlatform, GetsADefaultForEachMemberLeftEmpty) {
    Platform::install({});

    const auto& machine = Platform::current();
    EXPECT_NE(dynamic_cast<platform::SystemClock*>(machine.clock.get()), nullptr);
    EXPECT_NE(dynamic_cast<platform::PosixFileSystem*>(machine.fileSystem.get()), nullptr);
    EXPECT_NE(machine.httpClient, nullptr);
    EXPECT_NE(machine.mainQueue, nullptr);
    EXPECT_NE(machine.workers, nullptr);
    EXPECT_NE(dynamic_cast<platform::PosixDevice*>(machine.device.get()), nullptr);
    EXPECT_NE(dynamic_cast<platform::StandardErrorLog*>(machine.log.get()), nullptr);
    EXPECT_EQ(machine.syncPolicy, platform::SyncPolicy::powerLoss);
}

TEST(InstalledPlatform, CannotBeReplaced) {
    const auto clock = std::make_shared<FakeClock>();
    Platform machine;
    machine.clock = clock;
    Platform::install(machine);

    EXPECT_THROW(Platform::install({}), InvalidArgumentException);

    EXPECT_EQ(Platform::current().clock, clock);
}

TEST(DefaultPlatform, ServesWhenNoneWasInstalledAndStays) {
    auto& machine = Platform::current();

    EXPECT_NE(dynamic_cast<platform::SystemClock*>(machine.clock.get()), nullptr);
    EXPECT_THROW(Platform::install({}), InvalidArgumentException);
    EXPECT_EQ(&Platform::current(), &machine);
}

TEST(DefaultPlatform, HasAMainQueueThatNobodyNeedsToPump) {
    std::promise<std::thread::id> thread;
    Platform::current().mainQueue->post([&] { thread.set_value(std::this_thread::get_id()); });
    auto ran = thread.get_future();
    ASSERT_EQ(ran.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_NE(ran.get(), std::this_thread::get_id());
}

TEST(DefaultPlatform, IsTheSameForThreadsThatAskAtOnce) {
    std::atomic<int> ready = 0;
    std::vector<Platform*> seen(8);
    std::vector<std::thread> threads;
    for (auto& place : seen) {
        threads.emplace_back([&] {
            for (++ready; ready < 8;) std::this_thread::yield();
            place = &Platform::current();
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(std::set<Platform*>(seen.begin(), seen.end()).size(), 1U);
}

}  // namespace
}  // namespace harvelstone::testing
