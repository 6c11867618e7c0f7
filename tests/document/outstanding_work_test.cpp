#include <functional>
#include <gtest/gtest.h>
#include <thread>

#include "harvelstone/document/OutstandingWork.hpp"

namespace harvelstone {
namespace {

using Kind = OutstandingWork::Kind;
using namespace std::chrono_literals;

TEST(OutstandingWork, CountsWhileItLives) {
    EXPECT_EQ(OutstandingWork::count(Kind::upload), 0U);
    {
        const OutstandingWork first(Kind::upload);
        const OutstandingWork second(Kind::upload);
        EXPECT_EQ(OutstandingWork::count(Kind::upload), 2U);
    }
    EXPECT_EQ(OutstandingWork::count(Kind::upload), 0U);
}

TEST(OutstandingWork, CountsEachKindForItself) {
    const OutstandingWork removal(Kind::removal);

    EXPECT_EQ(OutstandingWork::count(Kind::removal), 1U);
    EXPECT_EQ(OutstandingWork::count(Kind::upload), 0U);
}

TEST(OutstandingWork, IsGoneWhenTheTaskThatHoldsItIsDropped) {
    std::function<void()> task = [token = std::make_shared<OutstandingWork>(Kind::removal)] {};
    auto copy = task;
    task = nullptr;
    EXPECT_EQ(OutstandingWork::count(Kind::removal), 1U);
    copy = nullptr;
    EXPECT_EQ(OutstandingWork::count(Kind::removal), 0U);
}

TEST(OutstandingWork, NothingToWaitForIsThereAtOnce) {
    const OutstandingWork other(Kind::removal);

    EXPECT_TRUE(OutstandingWork::waitUntilNone(Kind::upload, 0s));
    EXPECT_TRUE(OutstandingWork::waitUntilNone(Kind::upload, std::chrono::steady_clock::duration::max()));
}

TEST(OutstandingWork, TheWaitEndsWhenTheTimeIsUp) {
    const OutstandingWork work(Kind::upload);

    EXPECT_FALSE(OutstandingWork::waitUntilNone(Kind::upload, 0s));
    EXPECT_FALSE(OutstandingWork::waitUntilNone(Kind::upload, -5s));
    EXPECT_FALSE(OutstandingWork::waitUntilNone(Kind::upload, 1ms));
}

TEST(OutstandingWork, TheWaitEndsWithTheLastOfItsKind) {
    auto first = std::make_shared<OutstandingWork>(Kind::upload);
    auto second = std::make_shared<OutstandingWork>(Kind::upload);
    std::thread worker([first = std::move(first), second = std::move(second)]() mutable {
        first.reset();
        second.reset();
    });

    EXPECT_TRUE(OutstandingWork::waitUntilNone(Kind::upload, std::chrono::steady_clock::duration::max()));
    EXPECT_EQ(OutstandingWork::count(Kind::upload), 0U);
    worker.join();
}

}  // namespace
}  // namespace harvelstone
