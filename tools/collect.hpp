#pragma once

#include <optional>
#include <string>

#include "tools/collector.hpp"

namespace harvelstone::tools {

struct CollectOptions {
    CollectorOptions collector;
    std::optional<std::string> storeFolder;
    std::optional<std::string> repliesFile;
};

/// `harvelstone collect`: serves until SIGINT or SIGTERM.
int runCollect(CollectOptions options);

}  // namespace harvelstone::tools
