#pragma once

#include "tests/simulation/Fact.hpp"
#include "tests/simulation/Plan.hpp"

namespace harvelstone::testing {

/// Lives the life in a process of its own and gives what it left. A process that ends in any other way than planned, or
/// does not end within a minute, is a violation.
Legacy lived(const LifePlan& plan, const Legacy& before, bool traces);

struct SeedResult {
    std::uint64_t seed = 0;
    std::size_t lives = 0;
    std::size_t documents = 0;
    std::size_t records = 0;
    std::size_t uploads = 0;
    std::uint64_t switches = 0;
    std::uint64_t fingerprint = 0;  ///< the same whenever the seed is run again
    std::vector<std::string> violations = {};
};

/// All lives of a seed, until one of them violates something.
SeedResult runSeed(std::uint64_t seed, bool traces);

}  // namespace harvelstone::testing
