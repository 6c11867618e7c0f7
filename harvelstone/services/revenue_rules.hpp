#pragma once

#include <cstdint>
#include <optional>

namespace harvelstone {

/// What is counted about the revenues of this installation.
struct RevenueCounts {
    std::int64_t revenues = 0;        ///< so far
    std::int64_t daysBetween = 0;     ///< whole days between one and the next, summed
    std::int64_t returnRevenues = 0;  ///< in a row, each within the limit of the one before

    friend bool operator==(const RevenueCounts&, const RevenueCounts&) = default;
};

/// The counts after one more revenue at `now`. `lastOrder` is when the one before was reported, or when the counting
/// began; without it no days are added and the run begins. A clock set back adds no days. A limit (in days) below 1
/// leaves the run as it is.
RevenueCounts afterRevenue(const RevenueCounts& before, std::optional<double> lastOrder, double now,
                           std::int64_t limitDays);

}  // namespace harvelstone
