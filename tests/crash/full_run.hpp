#pragma once

#include <cstdlib>

namespace harvelstone::testing {

/// Whether every point is to be tried, not a sample of them: `./dev crash` asks for it.
inline bool isFullRun() { return std::getenv("HARVELSTONE_FULL_RUN") != nullptr; }

}  // namespace harvelstone::testing
