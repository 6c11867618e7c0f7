#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "harvelstone/platform/Platform.hpp"

namespace harvelstone::testing {

/// What a seed has in store for one life of the app.
struct LifePlan {
    enum class End {
        settled,   ///< everything that waits is sent under the best conditions, then looked at
        exited,    ///< the host's threads have done their work, whatever is still under way
        killed,    ///< the process dies at some call on the disk
        powerLost  ///< so does the machine
    };

    std::uint64_t seed = 0;
    std::size_t life = 0;
    double pointsInARow = 0;  ///< infinite: a calm life, in which operations do not overlap
    std::size_t hostThreads = 1;
    std::size_t operationsOfEach = 0;
    platform::SyncPolicy policy = platform::SyncPolicy::powerLoss;
    End end = End::exited;
    std::size_t endAtCall = 0;  ///< for `killed` and `powerLost`
    bool hasDiskFaults = false;
    double pauseBefore = 0;  ///< seconds since the end of the life before; negative when the clock was set back

    bool isCalm() const;
    std::string text() const;
};

/// Of all lives of a seed, in order; the last one settles.
struct SeedPlan {
    std::size_t lives = 0;
    LifePlan life(std::size_t number) const;

    static SeedPlan of(std::uint64_t seed);
    LifePlan common = {};
    bool mayFault = false;
};

}  // namespace harvelstone::testing
