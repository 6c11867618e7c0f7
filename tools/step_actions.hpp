#pragma once

#include <string_view>

#include "tools/app_machine.hpp"
#include "tools/scenario.hpp"

namespace harvelstone::tools {

/// Does what the step says, as a host app would. Raises what the component raises.
using StepAction = void (*)(const Step& step, const AppMachine& machine);

/// The action of a step by its name; a null pointer for `expectRaise`, which is the player's, and for any other word.
StepAction stepAction(std::string_view name);

}  // namespace harvelstone::tools
