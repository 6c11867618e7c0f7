#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// The rules of visit counting, as functions of times (seconds since 1970) and numbers alone.

/// Days from one time to the other, to the nearest whole day, halves away from zero; negative when `to` is earlier.
inline double roundedDayGap(double from, double to) { return std::round((to - from) / 60 / 60 / 24); }

/// The length of a run of return visits after a visit `dayGap` days after the one before: one more while the gap is
/// below the limit in days, else 1.
inline std::int64_t returnVisitRun(std::int64_t longerRun, double dayGap, std::int64_t limit) {
    return Value(dayGap).integerValue() < limit ? longerRun : 1;
}

/// One more; a counter at the end of its range, which only a damaged file holds, stays there.
inline std::int64_t oneMore(std::int64_t count) {
    return count == std::numeric_limits<std::int64_t>::max() ? count : count + 1;
}

/// Which unique-visitor periods have passed since the latest document.
struct PassedPeriods {
    bool day = false;
    bool week = false;
    bool month = false;
};

/// 0 not the first visit of its day; else the first of its day (1), day and week (2), all three (3), day and month (4).
inline std::int64_t uniqueVisitAnswer(const PassedPeriods& passed) {
    if (!passed.day) return 0;
    if (passed.week) return passed.month ? 3 : 2;
    return passed.month ? 4 : 1;
}

}  // namespace harvelstone
