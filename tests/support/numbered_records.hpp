#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace harvelstone::testing {

/// The kinds of records, by the prefixes of their queues; those whose records go into documents come first.
const std::vector<std::string>& queuePrefixes();
/// Records one with a number by which it is found again, through the host's face. The prefix says which kind.
void addNumberedRecord(const std::string& queuePrefix, std::int64_t number);

}  // namespace harvelstone::testing
