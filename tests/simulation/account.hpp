#pragma once

#include <string>
#include <vector>

#include "tests/simulation/Fact.hpp"

namespace harvelstone::testing {

/// What is wrong with the account of all records and documents of a seed, when nothing is under way any more.
std::vector<std::string> accountViolations(const Facts& facts, const DiskImage& end);

}  // namespace harvelstone::testing
