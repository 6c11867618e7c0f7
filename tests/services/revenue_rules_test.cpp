#include "harvelstone/services/revenue_rules.hpp"

#include <gtest/gtest.h>
#include <limits>

namespace harvelstone {
namespace {

constexpr double day = 24 * 60 * 60;
constexpr double start = 1'479'259'200;
constexpr RevenueCounts counts{.revenues = 5, .daysBetween = 40, .returnRevenues = 3};

RevenueCounts after(double days, std::int64_t limitDays = 3) {
    return afterRevenue(counts, start, start + days * day, limitDays);
}

TEST(RevenueRules, CountEachRevenue) { EXPECT_EQ(after(0).revenues, 6); }

TEST(RevenueRules, AddWholeDaysRoundedWithHalvesAwayFromZero) {
    EXPECT_EQ(after(0.49).daysBetween, 40);
    EXPECT_EQ(after(0.5).daysBetween, 41);
    EXPECT_EQ(after(1.49).daysBetween, 41);
    EXPECT_EQ(after(1.5).daysBetween, 42);
}

TEST(RevenueRules, AddNoDaysWhenTheClockWasSetBack) { EXPECT_EQ(after(-10).daysBetween, 40); }

TEST(RevenueRules, ContinueTheRunBelowTheLimitOnly) {
    EXPECT_EQ(after(2).returnRevenues, 4);
    EXPECT_EQ(after(2.49).returnRevenues, 4);
    EXPECT_EQ(after(2.5).returnRevenues, 1);
    EXPECT_EQ(after(3).returnRevenues, 1);
    EXPECT_EQ(after(-10).returnRevenues, 4);
}

TEST(RevenueRules, LeaveTheRunWithoutALimit) {
    EXPECT_EQ(after(1, /*limitDays=*/0).returnRevenues, 3);
    EXPECT_EQ(after(100, /*limitDays=*/-1).returnRevenues, 3);
    EXPECT_EQ(after(1, /*limitDays=*/0).revenues, 6);
}

TEST(RevenueRules, BeginTheRunWhereNoOrderTimeIsKnown) {
    const auto first = afterRevenue(counts, std::nullopt, start, /*limitDays=*/3);
    EXPECT_EQ(first, (RevenueCounts{.revenues = 6, .daysBetween = 40, .returnRevenues = 1}));
}

TEST(RevenueRules, StayAtTheEndOfTheirRange) {
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    const RevenueCounts full{.revenues = most, .daysBetween = most - 1, .returnRevenues = most};
    EXPECT_EQ(afterRevenue(full, start, start + 2 * day, /*limitDays=*/3),
              (RevenueCounts{.revenues = most, .daysBetween = most, .returnRevenues = most}));
    EXPECT_EQ(afterRevenue(counts, -1e300, start, /*limitDays=*/3).daysBetween, most);
}

}  // namespace
}  // namespace harvelstone
