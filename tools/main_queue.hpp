#pragma once

#include "harvelstone/platform/RunLoop.hpp"

namespace harvelstone::tools {

/// Real time passes, the main queue running.
void pumpMainQueueFor(platform::Seconds time);

/// Runs the main queue until no upload, repeat or removal is outstanding.
void settle();

}  // namespace harvelstone::tools
