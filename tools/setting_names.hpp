#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace harvelstone::tools {

/// Where a setting of the scenario's `configure` step goes.
enum class SettingPlace {
    configuration,  ///< SessionManager::configure
    profile,        ///< ProfileManager::setProfile
    visitTimeout,   ///< SessionManager::setVisitTimeout
};

struct SettingName {
    SettingPlace place;
    std::string name;  ///< as the place knows it
};

/// Finds the setting that is meant by its own name ("apVr"), its getter ("getApVr"), the accessor of its key
/// ("PARAM_AP_VR"), the key's text ("app_version") or the name that the host's options use ("appVersion"). Absent for
/// any other word.
std::optional<SettingName> findSetting(std::string_view word);

/// The same for the values of the `profile` step.
std::optional<std::string> findProfileValue(std::string_view word);

}  // namespace harvelstone::tools
