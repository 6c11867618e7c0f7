#pragma once

#include <optional>
#include <string>

namespace harvelstone::tools {

struct ReplayOptions {
    std::string scenarioFile;
    std::string target;
    std::string documents;
    std::optional<std::string> logFile;
    bool asJson = false;
};

/// `harvelstone replay`: one life of an app.
int runReplay(const ReplayOptions& options);

}  // namespace harvelstone::tools
