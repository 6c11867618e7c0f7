#pragma once

#include <string>
#include <vector>

#include "harvelstone/document/Ledger.hpp"

#include "tests/simulation/Fact.hpp"

namespace harvelstone::testing {

/// What is wrong with the account of all records and documents of a seed, and with the component's own ledger, when
/// nothing is under way any more.
std::vector<std::string> accountViolations(const Facts& facts, const DiskImage& end, const Ledger& ledger);

}  // namespace harvelstone::testing
