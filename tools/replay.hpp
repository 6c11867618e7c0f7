#pragma once

#include <optional>
#include <string>

namespace harvelstone::tools {

struct ReplayOptions {
    std::string scenarioFile;
    std::string target;
    std::string documents;
    std::optional<std::string> logFile;
    /// PEM file of the certificate authorities that vouch for the target; those of the system without it.
    std::optional<std::string> authoritiesFile;
    bool asJson = false;
};

/// `harvelstone replay`: one life of an app.
int runReplay(const ReplayOptions& options);

}  // namespace harvelstone::tools
