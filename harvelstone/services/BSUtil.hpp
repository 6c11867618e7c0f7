#pragma once

#include <string>

namespace harvelstone {

/// Time, as the component computes with it. Class operations only; any thread may call them.
class BSUtil {
  public:
    /// The current time in seconds since 1970, with fraction; not milliseconds, in spite of the name.
    static double currentTimeMillis();

    /// The current local date and time, "2026-11-21T14:03:09+01:00".
    static std::string getCurrentDateString();

    /// The periods of unique visits.
    static int DAILY_UNIQUE();
    static int WEEKLY_UNIQUE();
    static int MONTHLY_UNIQUE();

    /// The end of the period that holds the time: the last moment before the next local midnight, Monday or first of
    /// the month. Raises platform::InvalidArgumentException for a type that is none of the three.
    static double getExpireLongTimeForUniVt(double time, int type);

    /// The end of the weekly-user period that starts at the time: the end of its week, Monday to Sunday.
    static double getExpireLongTimeForWeeklyUSType(double time);

    /// Prints the time as a date to the platform's log and gives the text.
    static std::string logDateString(double time);
};

}  // namespace harvelstone
