#include <gtest/gtest.h>

#include "harvelstone/platform/ZoneWatch.hpp"

namespace harvelstone::platform {
namespace {

struct ZoneWatchTest : ::testing::Test {
    bool isDue(int milliseconds, bool isZoneOfProcess = false) {
        return watch.isLookDue(isZoneOfProcess, start + std::chrono::milliseconds(milliseconds));
    }

    ZoneWatch watch;
    const ZoneWatch::TimePoint start{std::chrono::hours(1)};
};

TEST_F(ZoneWatchTest, LooksAtTheSystemsZoneAtFirstAndThenOnceASecond) {
    EXPECT_TRUE(isDue(0));
    EXPECT_FALSE(isDue(0));
    EXPECT_FALSE(isDue(999));
    EXPECT_TRUE(isDue(1000));
    EXPECT_FALSE(isDue(1999));
    EXPECT_TRUE(isDue(5000));
}

TEST_F(ZoneWatchTest, LooksAtTheProcesssOwnZoneEachTime) {
    EXPECT_TRUE(isDue(0));
    EXPECT_TRUE(isDue(1, /*isZoneOfProcess=*/true));
    EXPECT_TRUE(isDue(1, /*isZoneOfProcess=*/true));
}

TEST_F(ZoneWatchTest, LooksAtOnceWhenTheZoneIsTheSystemsAgain) {
    EXPECT_TRUE(isDue(0));
    EXPECT_TRUE(isDue(1, /*isZoneOfProcess=*/true));
    EXPECT_TRUE(isDue(2));
    EXPECT_FALSE(isDue(3));
}

}  // namespace
}  // namespace harvelstone::platform
