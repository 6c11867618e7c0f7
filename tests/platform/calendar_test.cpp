#include "harvelstone/platform/Calendar.hpp"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>

namespace harvelstone::platform {
namespace {

// The zones' rules themselves, so that no database of zones is needed.
constexpr const char* utc = "UTC0";
constexpr const char* berlin = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* newYork = "EST5EDT,M3.2.0,M11.1.0";
constexpr const char* kathmandu = "<+0545>-5:45";
constexpr const char* santiago = "<-04>4<-03>,M9.1.6/24,M4.1.6/24";  // the clocks change at midnight

struct CalendarTest : ::testing::Test {
    static void moveTo(const char* zone) { setenv("TZ", zone, /*overwrite=*/1); }

    static double moment(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
        return secondsSince1970(
            {.year = year, .month = month, .day = day, .hour = hour, .minute = minute, .second = second});
    }
};

auto fields(const CivilTime& time) {
    return std::tuple(time.year, time.month, time.day, time.hour, time.minute, time.second, time.weekday,
                      time.utcOffset);
}

TEST_F(CalendarTest, SplitsTheFirstMoment) {
    moveTo(utc);
    EXPECT_EQ(fields(civilTime(0)), std::tuple(1970, 1, 1, 0, 0, 0, 3, 0));
    EXPECT_EQ(secondsSince1970({}), 0);
}

TEST_F(CalendarTest, SplitsAMomentByTheZone) {
    moveTo(berlin);
    EXPECT_EQ(fields(civilTime(1'479'259'200)), std::tuple(2016, 11, 16, 2, 20, 0, 2, 3600));
    moveTo(newYork);
    EXPECT_EQ(fields(civilTime(1'479'259'200)), std::tuple(2016, 11, 15, 20, 20, 0, 1, -5 * 3600));
}

TEST_F(CalendarTest, CountsWeekdaysFromMonday) {
    moveTo(utc);
    for (int day = 0; day < 7; ++day) EXPECT_EQ(civilTime(moment(2026, 11, 16 + day)).weekday, day);
}

TEST_F(CalendarTest, CutsFractionsDownwards) {
    moveTo(utc);
    EXPECT_EQ(civilTime(59.999).second, 59);
    EXPECT_EQ(dateString(-0.001), "1969-12-31T23:59:59+00:00");
    EXPECT_EQ(dateString(-1), "1969-12-31T23:59:59+00:00");
    EXPECT_EQ(dateString(-1.5), "1969-12-31T23:59:58+00:00");
}

TEST_F(CalendarTest, CarriesFieldsBeyondTheirRange) {
    moveTo(berlin);
    EXPECT_EQ(moment(2026, 1, 32), moment(2026, 2, 1));
    EXPECT_EQ(moment(2026, 13, 1), moment(2027, 1, 1));
    EXPECT_EQ(moment(2026, 3, 0), moment(2026, 2, 28));
    EXPECT_EQ(moment(2028, 3, 0), moment(2028, 2, 29));
    EXPECT_EQ(moment(2026, 12, 31, 23, 59, 60), moment(2027, 1, 1));
    EXPECT_EQ(moment(2026, 12, 31, 24), moment(2027, 1, 1));
}

TEST_F(CalendarTest, MakesDaysOf23And25HoursWhenTheClocksChange) {
    moveTo(berlin);
    EXPECT_EQ(moment(2026, 3, 30) - moment(2026, 3, 29), 23 * 3600);
    EXPECT_EQ(moment(2026, 10, 26) - moment(2026, 10, 25), 25 * 3600);
    EXPECT_EQ(moment(2026, 10, 27) - moment(2026, 10, 26), 24 * 3600);
    moveTo(newYork);
    EXPECT_EQ(moment(2026, 3, 9) - moment(2026, 3, 8), 23 * 3600);
    EXPECT_EQ(moment(2026, 11, 2) - moment(2026, 11, 1), 25 * 3600);
}

TEST_F(CalendarTest, KnowsTheOffsetOnBothSidesOfAChange) {
    moveTo(berlin);
    const double spring = 1'774'746'000;  // 2026-03-29T01:00:00Z
    EXPECT_EQ(dateString(spring - 1), "2026-03-29T01:59:59+01:00");
    EXPECT_EQ(dateString(spring), "2026-03-29T03:00:00+02:00");
    const double autumn = 1'792'890'000;  // 2026-10-25T01:00:00Z
    EXPECT_EQ(dateString(autumn - 1), "2026-10-25T02:59:59+02:00");
    EXPECT_EQ(dateString(autumn), "2026-10-25T02:00:00+01:00");
}

TEST_F(CalendarTest, TakesTheFirstMomentOfADayWithoutMidnight) {
    moveTo(santiago);
    const auto start = moment(2026, 9, 6);
    EXPECT_EQ(dateString(start), "2026-09-06T01:00:00-03:00");
    EXPECT_EQ(dateString(start - 1), "2026-09-05T23:59:59-04:00");
}

TEST_F(CalendarTest, IgnoresWeekdayAndOffsetOfALocalTime) {
    moveTo(newYork);
    const CivilTime odd{.year = 2026, .month = 7, .day = 4, .weekday = 99, .utcOffset = 12345};
    EXPECT_EQ(secondsSince1970(odd), moment(2026, 7, 4));
}

TEST_F(CalendarTest, ComesBackToEveryMomentItSplit) {
    for (const auto* zone : {utc, berlin, newYork, kathmandu}) {
        moveTo(zone);
        // Steps of 13 hours over two years; an hour that stands twice is left out by its offset.
        for (double time = 1'767'225'600; time < 1'830'297'600; time += 13 * 3600) {
            const auto local = civilTime(time);
            const auto back = secondsSince1970(local);
            if (civilTime(back).utcOffset == local.utcOffset) {
                ASSERT_EQ(back, time) << zone;
            }
        }
    }
}

TEST_F(CalendarTest, WritesTheDateWithItsOffset) {
    moveTo(berlin);
    EXPECT_EQ(dateString(1'795'266'189), "2026-11-21T14:03:09+01:00");
    EXPECT_EQ(dateString(1'782'856'800), "2026-07-01T00:00:00+02:00");
    moveTo(newYork);
    EXPECT_EQ(dateString(1'795'266'189.75), "2026-11-21T08:03:09-05:00");
    moveTo(kathmandu);
    EXPECT_EQ(dateString(1'795'266'189), "2026-11-21T18:48:09+05:45");
}

TEST_F(CalendarTest, CrossesTheEndOfAYear) {
    moveTo(berlin);
    const auto newYear = moment(2027, 1, 1);
    EXPECT_EQ(dateString(newYear - 0.5), "2026-12-31T23:59:59+01:00");
    EXPECT_EQ(dateString(newYear), "2027-01-01T00:00:00+01:00");
}

TEST_F(CalendarTest, KeepsTheDateOfAWildTimeReadable) {
    moveTo(utc);
    EXPECT_EQ(dateString(1e300), "9999-12-31T00:00:00+00:00");
    EXPECT_EQ(dateString(-1e300), "0001-01-02T00:00:00+00:00");
    EXPECT_EQ(dateString(std::numeric_limits<double>::infinity()), "9999-12-31T00:00:00+00:00");
    EXPECT_EQ(dateString(std::nan("")), "1970-01-01T00:00:00+00:00");
}

TEST_F(CalendarTest, KeepsFourDigitsForTheYearInAZoneFarAhead) {
    moveTo("<far>-24:59");
    EXPECT_EQ(dateString(1e300), "9999-01-01T00:59:00+24:59");
    moveTo("<back>24:59");
    EXPECT_EQ(dateString(-1e300), "0000-12-31T23:01:00-24:59");
}

TEST_F(CalendarTest, TellsTheZoneAsAnOffset) {
    const double winter = 1'795'266'189;
    const double summer = 1'782'856'800;
    moveTo(berlin);
    EXPECT_EQ(timeZoneOffset(winter), "+01:00");
    EXPECT_EQ(timeZoneOffset(summer), "+02:00");
    moveTo(newYork);
    EXPECT_EQ(timeZoneOffset(winter), "-05:00");
    moveTo("<-0330>3:30");
    EXPECT_EQ(timeZoneOffset(winter), "-03:30");
    moveTo(utc);
    EXPECT_EQ(timeZoneOffset(winter), "+00:00");
}

struct Span {
    double seconds;
    long long hours;
};

TEST(WholeHoursBetween, TruncatesTowardZero) {
    const double from = 1'479'259'200.25;
    const Span rows[] = {{0, 0},     {3599.75, 0}, {3600, 1},   {4 * 3600 - 60, 3}, {4 * 3600 - 0.25, 3}, {4 * 3600, 4},
                         {-3599, 0}, {-3600, -1},  {-7199, -1}, {-7200, -2},        {48 * 3600, 48}};
    for (const auto& row : rows) EXPECT_EQ(wholeHoursBetween(from, from + row.seconds), row.hours) << row.seconds;
}

TEST(WholeHoursBetween, StaysANumberForWildTimes) {
    const auto infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(wholeHoursBetween(0, 1e300), 1'000'000'000'000'000);
    EXPECT_EQ(wholeHoursBetween(1e300, 0), -1'000'000'000'000'000);
    EXPECT_EQ(wholeHoursBetween(infinity, infinity), 0);
}

}  // namespace
}  // namespace harvelstone::platform
