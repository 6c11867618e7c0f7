// Time as the component computes with it: now, date texts, and the calendar's ends of the unique-visit periods. Stores
// nothing. Any thread.

#include "harvelstone/services/BSUtil.hpp"

#include <fmt/format.h>

#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Platform.hpp"

namespace harvelstone {

namespace {

using platform::CivilTime;

constexpr int daily = 1;
constexpr int weekly = 2;
constexpr int monthly = 3;

constexpr int daysOfWeek = 7;

/// A period has passed when now is above its end, so the end lies just before the next period's start: close enough
/// that nothing happens in between, and far enough for a double to tell the two apart.
constexpr double lastMoment = 0.001;

CivilTime startOfDay(const CivilTime& local) { return {.year = local.year, .month = local.month, .day = local.day}; }

CivilTime startOfNextPeriod(const CivilTime& local, int type) {
    auto start = startOfDay(local);
    switch (type) {
        case daily:
            start.day += 1;
            return start;
        case weekly:
            start.day += daysOfWeek - local.weekday;
            return start;
        case monthly:
            start.day = 1;
            start.month += 1;
            return start;
        default:
            throw platform::InvalidArgumentException(fmt::format("{} is no type of a unique-visit period", type));
    }
}

}  // namespace

double BSUtil::currentTimeMillis() { return platform::Platform::current().clock->now(); }

std::string BSUtil::getCurrentDateString() { return platform::dateString(currentTimeMillis()); }

int BSUtil::DAILY_UNIQUE() { return daily; }

int BSUtil::WEEKLY_UNIQUE() { return weekly; }

int BSUtil::MONTHLY_UNIQUE() { return monthly; }

double BSUtil::getExpireLongTimeForUniVt(double time, int type) {
    return platform::secondsSince1970(startOfNextPeriod(platform::civilTime(time), type)) - lastMoment;
}

double BSUtil::getExpireLongTimeForWeeklyUSType(double time) { return getExpireLongTimeForUniVt(time, weekly); }

std::string BSUtil::logDateString(double time) {
    auto text = platform::dateString(time);
    platform::Platform::current().log->platformLine(text);
    return text;
}

}  // namespace harvelstone
