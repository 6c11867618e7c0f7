#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Value.hpp"

#include "tools/json_lines.hpp"

namespace harvelstone::tools {

/// One step of a scenario, checked and with all names brought into the form in which the component knows them.
struct Step {
    LinePlace place;
    std::string name;
    /// Arguments by name. A missing argument is one with null. For `configure` and `profile` the values by their stored
    /// names.
    Dictionary arguments;
    /// Values that `configure` hands to the member profile.
    Dictionary profileValues;
    /// The inner step of `expectRaise`, else empty.
    std::vector<Step> inner;
    /// Whether the step may stand before the document manager is made.
    bool onlySets = false;
};

struct Scenario {
    std::string file;
    std::vector<Step> steps;
};

/// Reads and checks a whole scenario: JSON Lines, one step a line. An unknown step, an unknown, missing or wrong
/// argument, or a line that is no JSON object raises WrongUse, whose message begins with "FILE:LINE".
Scenario parseScenario(std::string_view text, const std::string& file);

/// The names of all steps.
std::vector<std::string_view> stepNames();

}  // namespace harvelstone::tools
