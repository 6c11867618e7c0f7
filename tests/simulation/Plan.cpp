// How seeds become lives.

#include "tests/simulation/Plan.hpp"

#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <vector>

#include "tests/simulation/Random.hpp"

namespace harvelstone::testing {

namespace {

constexpr std::uint64_t planPart = 1;
constexpr std::uint64_t lifePart = 1000;

LifePlan::End drawnEnd(Random& random, platform::SyncPolicy policy) {
    if (random.chance(0.3)) return LifePlan::End::exited;
    const bool mayLosePower = policy == platform::SyncPolicy::powerLoss;
    return mayLosePower && random.chance(0.5) ? LifePlan::End::powerLost : LifePlan::End::killed;
}

const char* name(LifePlan::End end) {
    switch (end) {
        case LifePlan::End::settled:
            return "settled";
        case LifePlan::End::exited:
            return "exited";
        case LifePlan::End::killed:
            return "killed";
        case LifePlan::End::powerLost:
            return "power lost";
    }
    return "";
}

}  // namespace

bool LifePlan::isCalm() const { return std::isinf(pointsInARow); }

std::string LifePlan::text() const {
    return fmt::format("life {} of seed {}: {} host threads with {} operations each, a switch every {} points, {}{}{}",
                       life, seed, hostThreads, operationsOfEach, pointsInARow, name(end),
                       endAtCall > 0 ? fmt::format(" at call {}", endAtCall) : "",
                       hasDiskFaults ? ", disk faults" : "");
}

SeedPlan SeedPlan::of(std::uint64_t seed) {
    Random random(seed, planPart);
    static const std::vector<double> speeds{3, 10, 40, 150, 600, 3000};
    SeedPlan plan;
    plan.lives = random.between(3, 6);
    plan.common.seed = seed;
    plan.common.pointsInARow = random.chance(0.4) ? std::numeric_limits<double>::infinity() : random.pick(speeds);
    plan.common.policy = random.chance(0.7) ? platform::SyncPolicy::powerLoss : platform::SyncPolicy::processExit;
    plan.mayFault = random.chance(0.3);
    return plan;
}

LifePlan SeedPlan::life(std::size_t number) const {
    Random random(common.seed, lifePart + number);
    auto plan = common;
    plan.life = number;
    plan.hostThreads = random.between(1, 3);
    plan.operationsOfEach = random.between(5, 40);
    const bool isLast = number + 1 == lives;
    plan.end = isLast ? LifePlan::End::settled : drawnEnd(random, plan.policy);
    const bool endsEarly = plan.end == LifePlan::End::killed || plan.end == LifePlan::End::powerLost;
    plan.endAtCall = endsEarly ? random.between(1, random.chance(0.3) ? 120 : 1200) : 0;
    plan.hasDiskFaults = mayFault && !isLast && random.chance(0.5);
    static const std::vector<double> pauses{0.5, 40, 600, 3000, 15'000, 90'000, -20, -4000};
    plan.pauseBefore = random.pick(pauses);
    return plan;
}

}  // namespace harvelstone::testing
