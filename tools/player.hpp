#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "tools/app_machine.hpp"
#include "tools/scenario.hpp"

namespace harvelstone::tools {

struct PlayOutcome {
    std::size_t stepsPlayed = 0;
    /// "FILE:LINE: ..." of the step that raised although it must not, or did not although it must.
    std::optional<std::string> failure;
};

/// Is told of each step before it is played.
using StepObserver = std::function<void(const Step& step, std::size_t index)>;

/// Plays the scenario as a host app on this thread, whose main queue it runs, and settles. The first step that does
/// more than set something makes the document manager, or the end of the scenario if there was none. A step that fails
/// ends it early.
PlayOutcome playScenario(const Scenario& scenario, const AppMachine& machine, const StepObserver& observer = {});

}  // namespace harvelstone::tools
