#pragma once

#include <optional>
#include <string>

namespace harvelstone::tools {

struct DemoOptions {
    std::optional<std::string> documents;  ///< Documents folder of the app; a new temporary one unless set
    std::optional<std::string> store;      ///< folder of the received documents; likewise
};

/// `harvelstone demo`: the shop scenario against a collector in the same process.
int runDemo(const DemoOptions& options);

}  // namespace harvelstone::tools
