#pragma once

#include "harvelstone/platform/Platform.hpp"

namespace harvelstone::platform {

/// The machine of a child that was made by fork in the middle of an operation of its parent's (see HostCall): the
/// parent's clock and device, files that cannot be opened or changed, requests that are refused, tasks and log lines
/// that are dropped. So nothing of the operation reaches beyond the child's memory.
Platform outOfActionMachine(const Platform& parents);

}  // namespace harvelstone::platform
