#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// The rules by which visits and revenues are counted, as functions of times (seconds since 1970) and numbers alone.

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

}  // namespace harvelstone
