#include "harvelstone/platform/Clock.hpp"

#include <cmath>
#include <ctime>
#include <gtest/gtest.h>

namespace harvelstone::platform {
namespace {

TEST(SystemClock, TellsTheTimeOfTheSystem) {
    const auto before = static_cast<double>(std::time(nullptr));
    const auto now = SystemClock().now();
    const auto after = static_cast<double>(std::time(nullptr));
    EXPECT_GE(now, before - 0.1);  // the coarse clock of time() may lag behind
    EXPECT_LE(now, after + 1.1);
}

TEST(SystemClock, HasFractions) {
    const SystemClock clock;
    bool hasFraction = false;
    for (int reading = 0; reading < 1000 && !hasFraction; ++reading) {
        const auto now = clock.now();
        hasFraction = now != std::floor(now);
    }
    EXPECT_TRUE(hasFraction);
}

}  // namespace
}  // namespace harvelstone::platform
