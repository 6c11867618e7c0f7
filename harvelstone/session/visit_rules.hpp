#pragma once

#include <cstdint>

#include "harvelstone/services/counting_rules.hpp"  // the rules that revenues share

namespace harvelstone {

/// The rules of visit counting, as functions of times (seconds since 1970) and numbers alone.

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
