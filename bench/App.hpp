#pragma once

#include <string>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Platform.hpp"

namespace harvelstone::bench {

/// Sets the library up in this process as an app would, over that Documents folder, without starting it. What the
/// platform leaves empty is real; the main queue is pumped by hand.
void configureApp(const std::string& documentsFolder, platform::SyncPolicy policy, platform::Platform platform = {});

/// The same, and the start.
DocumentManager& startApp(const std::string& documentsFolder, platform::SyncPolicy policy,
                          platform::Platform platform = {});

}  // namespace harvelstone::bench
