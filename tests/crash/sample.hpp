#pragma once

#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace harvelstone::testing {

/// HARVELSTONE_CRASH_POINTS says how many of the points are tried: "all" of them (`./dev crash`), or "few", as under
/// the address sanitizer, where a life takes several times as long. Without it the tests try a sample.
inline std::string_view crashPoints() {
    const char* const text = std::getenv("HARVELSTONE_CRASH_POINTS");
    return text == nullptr ? "" : text;
}

inline bool isFullRun() { return crashPoints() == "all"; }

/// Of so many points one is tried, where the usual sample tries one of `usual`.
inline std::size_t sampleStride(std::size_t usual) {
    if (isFullRun()) return 1;
    return crashPoints() == "few" ? 7 * usual : usual;
}

}  // namespace harvelstone::testing
