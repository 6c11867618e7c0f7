#pragma once

#include <string>

namespace harvelstone::platform {

/// A local date and time of day in the Gregorian calendar.
struct CivilTime {
    int year = 1970;
    int month = 1;      ///< 1 to 12
    int day = 1;        ///< 1 to 31
    int hour = 0;       ///< 0 to 23
    int minute = 0;     ///< 0 to 59
    int second = 0;     ///< 0 to 60
    int weekday = 4;    ///< 0 Monday to 6 Sunday; ignored by `secondsSince1970`
    int utcOffset = 0;  ///< seconds east of Greenwich; ignored by `secondsSince1970`
};

/// The local date and time at that moment, by the host's time zone. A change of the variable TZ counts at once, one of
/// the system's zone within a second.
CivilTime civilTime(double secondsSince1970);

/// The moment of a local date and time. Fields beyond their range carry over (day 32 of January is 1 February), and
/// daylight saving is taken into account.
double secondsSince1970(const CivilTime& local);

/// "2026-11-21T14:03:09+01:00": ISO 8601, local time with its offset, whole seconds.
std::string dateString(double secondsSince1970);

/// Whole hours from one moment to another, truncated toward zero; negative when `to` is earlier by an hour or more.
long long wholeHoursBetween(double from, double to);

/// The host's time zone as an offset, "+01:00".
std::string timeZoneOffset(double secondsSince1970);

}  // namespace harvelstone::platform
