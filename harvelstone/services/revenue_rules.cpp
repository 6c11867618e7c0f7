// The rules by which revenues are counted. Stores nothing. Any thread.

#include "harvelstone/services/revenue_rules.hpp"

#include <algorithm>
#include <limits>

#include "harvelstone/services/counting_rules.hpp"

namespace harvelstone {

namespace {

std::int64_t longerBy(std::int64_t days, double gap) {
    const auto added = std::max<std::int64_t>(Value(gap).integerValue(), 0);
    return days > std::numeric_limits<std::int64_t>::max() - added ? std::numeric_limits<std::int64_t>::max()
                                                                   : days + added;
}

}  // namespace

RevenueCounts afterRevenue(const RevenueCounts& before, std::optional<double> lastOrder, double now,
                           std::int64_t limitDays) {
    auto after = before;
    after.revenues = oneMore(before.revenues);
    const double gap = lastOrder ? roundedDayGap(*lastOrder, now) : 0;
    after.daysBetween = longerBy(before.daysBetween, gap);
    if (limitDays >= 1)
        after.returnRevenues = lastOrder ? returnVisitRun(oneMore(before.returnRevenues), gap, limitDays) : 1;
    return after;
}

}  // namespace harvelstone
