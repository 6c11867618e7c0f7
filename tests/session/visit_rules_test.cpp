#include "harvelstone/session/visit_rules.hpp"

#include <gtest/gtest.h>

namespace harvelstone {
namespace {

constexpr double day = 24.0 * 60 * 60;

TEST(RoundedDayGap, RoundsHalvesAwayFromZero) {
    struct Row {
        double days;
        double rounded;
    };
    for (const Row row : {Row{0, 0}, Row{0.49, 0}, Row{0.5, 1}, Row{1.49, 1}, Row{1.5, 2}, Row{2.5, 3}, Row{-0.5, -1},
                          Row{-1.49, -1}, Row{-2.5, -3}, Row{17120, 17120}}) {
        SCOPED_TRACE(row.days);
        EXPECT_EQ(roundedDayGap(0, row.days * day), row.rounded);
    }
}

TEST(RoundedDayGap, IsTheDifferenceOfTheTimes) {
    EXPECT_EQ(roundedDayGap(1'000'000, 1'000'000 + 3 * day), 3);
    EXPECT_EQ(roundedDayGap(1'000'000 + 3 * day, 1'000'000), -3);
}

TEST(ReturnVisitRun, GoesOnBelowTheLimitOnly) {
    EXPECT_EQ(returnVisitRun(5, 2, 3), 5);
    EXPECT_EQ(returnVisitRun(5, 3, 3), 1);
    EXPECT_EQ(returnVisitRun(5, 4, 3), 1);
    EXPECT_EQ(returnVisitRun(5, 0, 1), 5);
}

TEST(ReturnVisitRun, GoesOnWhenTheClockWasSetBack) { EXPECT_EQ(returnVisitRun(5, -10, 1), 5); }

TEST(ReturnVisitRun, BearsGapsBeyondAnInteger) {
    EXPECT_EQ(returnVisitRun(5, 1e300, 3), 1);
    EXPECT_EQ(returnVisitRun(5, -1e300, 3), 5);
}

TEST(OneMore, CountsUpToTheEndOfTheRange) {
    EXPECT_EQ(oneMore(0), 1);
    EXPECT_EQ(oneMore(-1), 0);
    EXPECT_EQ(oneMore(std::numeric_limits<std::int64_t>::max()), std::numeric_limits<std::int64_t>::max());
}

TEST(UniqueVisitAnswer, FollowsFromThePassedPeriods) {
    struct Row {
        bool day, week, month;
        std::int64_t answer;
    };
    for (const Row row : {Row{true, false, false, 1}, Row{true, true, false, 2}, Row{true, true, true, 3},
                          Row{true, false, true, 4}, Row{false, false, false, 0}, Row{false, true, false, 0},
                          Row{false, false, true, 0}, Row{false, true, true, 0}}) {
        SCOPED_TRACE(::testing::Message() << row.day << row.week << row.month);
        EXPECT_EQ(uniqueVisitAnswer({.day = row.day, .week = row.week, .month = row.month}), row.answer);
    }
}

}  // namespace
}  // namespace harvelstone
