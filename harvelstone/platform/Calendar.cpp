#include "harvelstone/platform/Calendar.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <fmt/format.h>
#include <mutex>

#include "harvelstone/platform/Fork.hpp"

namespace harvelstone::platform {
namespace {

constexpr int firstYearOfTm = 1900;
constexpr int daysOfWeek = 7;
constexpr int secondsOfMinute = 60;
constexpr int secondsOfHour = 3600;

/// Whole seconds, downwards; held to the years 1 to 9999, in which a date has its usual form.
std::time_t wholeSeconds(double secondsSince1970) {
    constexpr double earliest = -62135510400;  // 0001-01-02T00:00:00Z
    constexpr double latest = 253402214400;    // 9999-12-31T00:00:00Z
    if (std::isnan(secondsSince1970)) return 0;
    return static_cast<std::time_t>(std::floor(std::clamp(secondsSince1970, earliest, latest)));
}

std::string offsetText(int utcOffset) {
    const auto seconds = std::abs(utcOffset);
    return fmt::format("{}{:02}:{:02}", utcOffset < 0 ? '-' : '+', seconds / secondsOfHour,
                       seconds % secondsOfHour / secondsOfMinute);
}

}  // namespace

CivilTime civilTime(double secondsSince1970) {
    const auto time = wholeSeconds(secondsSince1970);
    std::tm local{};
    {
        // The C library's zone has a lock of its own, which no fork looks after and the thread sanitizer does not see.
        const std::lock_guard lock(heldAcrossFork());
        tzset();  // a device that travels changes its zone while the app runs
        localtime_r(&time, &local);
    }
    return {.year = local.tm_year + firstYearOfTm,
            .month = local.tm_mon + 1,
            .day = local.tm_mday,
            .hour = local.tm_hour,
            .minute = local.tm_min,
            .second = local.tm_sec,
            .weekday = (local.tm_wday + daysOfWeek - 1) % daysOfWeek,
            .utcOffset = static_cast<int>(local.tm_gmtoff)};
}

double secondsSince1970(const CivilTime& local) {
    std::tm fields{};
    fields.tm_year = local.year - firstYearOfTm;
    fields.tm_mon = local.month - 1;
    fields.tm_mday = local.day;
    fields.tm_hour = local.hour;
    fields.tm_min = local.minute;
    fields.tm_sec = local.second;
    fields.tm_isdst = -1;  // the zone knows whether daylight saving is on then
    const std::lock_guard lock(heldAcrossFork());
    return static_cast<double>(std::mktime(&fields));
}

std::string dateString(double secondsSince1970) {
    const auto local = civilTime(secondsSince1970);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}{}", local.year, local.month, local.day, local.hour,
                       local.minute, local.second, offsetText(local.utcOffset));
}

long long wholeHoursBetween(double from, double to) {
    constexpr double mostHours = 1e15;  // far beyond any date, and within the integer's range
    const auto hours = (to - from) / secondsOfHour;
    return std::isnan(hours) ? 0 : static_cast<long long>(std::clamp(hours, -mostHours, mostHours));
}

std::string timeZoneOffset(double secondsSince1970) { return offsetText(civilTime(secondsSince1970).utcOffset); }

}  // namespace harvelstone::platform
