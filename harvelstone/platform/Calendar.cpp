#include "harvelstone/platform/Calendar.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <mutex>

#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/ZoneWatch.hpp"

namespace harvelstone::platform {
namespace {

constexpr int firstYearOfTm = 1900;
constexpr int lastYear = 9999;  // of four digits; a zone may be ahead of its end
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

/// Writes the number over the zeros, the last digit at that place. By hand, because every record has a date.
void put(std::string& text, std::size_t lastDigit, int number) {
    for (auto place = lastDigit; number > 0; --place, number /= 10) text[place] = static_cast<char>('0' + number % 10);
}

/// Called with the lock held.
void followZone() {
    static constinit ZoneWatch watch;
    if (watch.isLookDue(std::getenv("TZ") != nullptr, std::chrono::steady_clock::now())) tzset();
}

std::string offsetText(int utcOffset) {
    const auto seconds = std::abs(utcOffset);
    std::string text = utcOffset < 0 ? "-00:00" : "+00:00";
    put(text, 2, seconds / secondsOfHour);
    put(text, 5, seconds % secondsOfHour / secondsOfMinute);
    return text;
}

}  // namespace

CivilTime civilTime(double secondsSince1970) {
    const auto time = wholeSeconds(secondsSince1970);
    std::tm local{};
    {
        // The C library's zone has a lock of its own, which no fork looks after and the thread sanitizer does not see.
        const std::lock_guard lock(heldAcrossFork());
        followZone();
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
    std::string text = "0000-00-00T00:00:00";
    put(text, 3, std::min(local.year, lastYear));
    put(text, 6, local.month);
    put(text, 9, local.day);
    put(text, 12, local.hour);
    put(text, 15, local.minute);
    put(text, 18, local.second);
    return text + offsetText(local.utcOffset);
}

long long wholeHoursBetween(double from, double to) {
    constexpr double mostHours = 1e15;  // far beyond any date, and within the integer's range
    const auto hours = (to - from) / secondsOfHour;
    return std::isnan(hours) ? 0 : static_cast<long long>(std::clamp(hours, -mostHours, mostHours));
}

std::string timeZoneOffset(double secondsSince1970) { return offsetText(civilTime(secondsSince1970).utcOffset); }

}  // namespace harvelstone::platform
