#include <limits>

#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/services/BSUtil.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

using platform::CivilTime;
using platform::secondsSince1970;
using ::testing::ElementsAre;

class BSUtilTest : public ServiceTest {
  protected:
    BSUtilTest() { setTimeZone("Europe/Berlin"); }

    static double at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
        return secondsSince1970(
            CivilTime{.year = year, .month = month, .day = day, .hour = hour, .minute = minute, .second = second});
    }
    static double endOfDay(double time) { return BSUtil::getExpireLongTimeForUniVt(time, BSUtil::DAILY_UNIQUE()); }
    static double endOfWeek(double time) { return BSUtil::getExpireLongTimeForUniVt(time, BSUtil::WEEKLY_UNIQUE()); }
    static double endOfMonth(double time) { return BSUtil::getExpireLongTimeForUniVt(time, BSUtil::MONTHLY_UNIQUE()); }
    /// The end of a period that the next one follows at that moment.
    static double before(double start) { return start - 0.001; }
};

TEST_F(BSUtilTest, CountsTheCurrentTimeInSecondsWithFraction) {
    machine.clock->set(1'479'259'200.25);
    EXPECT_EQ(BSUtil::currentTimeMillis(), 1'479'259'200.25);
}

TEST_F(BSUtilTest, WritesTheCurrentDateInLocalTimeWithItsOffset) {
    machine.clock->set(1'479'259'200.75);
    EXPECT_EQ(BSUtil::getCurrentDateString(), "2016-11-16T02:20:00+01:00");
}

TEST_F(BSUtilTest, HasThreeDistinctPeriods) {
    EXPECT_NE(BSUtil::DAILY_UNIQUE(), BSUtil::WEEKLY_UNIQUE());
    EXPECT_NE(BSUtil::WEEKLY_UNIQUE(), BSUtil::MONTHLY_UNIQUE());
    EXPECT_NE(BSUtil::MONTHLY_UNIQUE(), BSUtil::DAILY_UNIQUE());
}

TEST_F(BSUtilTest, EndsADayBeforeTheNextLocalMidnight) {
    EXPECT_EQ(endOfDay(at(2016, 11, 16)), before(at(2016, 11, 17)));
    EXPECT_EQ(endOfDay(at(2016, 11, 16, 23, 59, 59)), before(at(2016, 11, 17)));
    EXPECT_EQ(endOfDay(at(2016, 12, 31, 12)), before(at(2017, 1, 1)));
}

TEST_F(BSUtilTest, LetsADayPassAtMidnightAndNotASecondBefore) {
    const auto end = endOfDay(at(2016, 11, 16, 12));
    EXPECT_FALSE(at(2016, 11, 16, 23, 59, 59) > end);
    EXPECT_TRUE(at(2016, 11, 17) > end);
}

TEST_F(BSUtilTest, EndsAWeekBeforeTheNextMonday) {
    const auto monday = before(at(2016, 11, 21));
    EXPECT_EQ(endOfWeek(at(2016, 11, 14)), monday);              // a Monday
    EXPECT_EQ(endOfWeek(at(2016, 11, 16, 12)), monday);          // a Wednesday
    EXPECT_EQ(endOfWeek(at(2016, 11, 20, 23, 59, 59)), monday);  // a Sunday
    EXPECT_EQ(endOfWeek(at(2016, 11, 21)), before(at(2016, 11, 28)));
    EXPECT_EQ(endOfWeek(at(2016, 12, 29)), before(at(2017, 1, 2)));
}

TEST_F(BSUtilTest, EndsAMonthBeforeTheFirstOfTheNext) {
    EXPECT_EQ(endOfMonth(at(2016, 11, 1)), before(at(2016, 12, 1)));
    EXPECT_EQ(endOfMonth(at(2016, 1, 31, 23)), before(at(2016, 2, 1)));
    EXPECT_EQ(endOfMonth(at(2016, 2, 29)), before(at(2016, 3, 1)));
    EXPECT_EQ(endOfMonth(at(2016, 12, 31, 23, 59, 59)), before(at(2017, 1, 1)));
}

TEST_F(BSUtilTest, FollowsTheCalendarOverDaylightSaving) {
    // Summer time begins on 27 March 2016: a day of 23 hours; it ends on 30 October: one of 25.
    EXPECT_EQ(endOfDay(at(2016, 3, 27)), before(at(2016, 3, 27) + 23 * 3600));
    EXPECT_EQ(endOfDay(at(2016, 10, 30)), before(at(2016, 10, 30) + 25 * 3600));
    EXPECT_EQ(endOfWeek(at(2016, 10, 29)), before(at(2016, 10, 31)));
}

TEST_F(BSUtilTest, EndsTheWeeklyUserPeriodWithItsWeek) {
    const auto time = at(2016, 11, 16, 12);
    EXPECT_EQ(BSUtil::getExpireLongTimeForWeeklyUSType(time), endOfWeek(time));
}

TEST_F(BSUtilTest, RefusesAnotherPeriod) {
    const int none = BSUtil::DAILY_UNIQUE() + BSUtil::WEEKLY_UNIQUE() + BSUtil::MONTHLY_UNIQUE();
    EXPECT_EQ(refusal([&] { BSUtil::getExpireLongTimeForUniVt(0, none); }), "6 is no type of a unique-visit period");
}

TEST_F(BSUtilTest, PrintsADateToThePlatformLogWhateverTheDebugSetting) {
    BSDebugger::setEnabled(false);
    EXPECT_EQ(BSUtil::logDateString(1'479'259'200), "2016-11-16T02:20:00+01:00");
    EXPECT_EQ(BSUtil::logDateString(0), "1970-01-01T01:00:00+01:00");
    EXPECT_THAT(machine.log->platformLines(), ElementsAre("2016-11-16T02:20:00+01:00", "1970-01-01T01:00:00+01:00"));
}

}  // namespace
}  // namespace harvelstone::testing
