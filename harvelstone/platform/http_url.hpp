#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace harvelstone::platform {

/// Why nothing is sent to this URL: it cannot be parsed, its scheme is neither http nor https, it has no host, it holds
/// credentials, a blank, a control character or NUL. Absent when it is fit. The reason never repeats a password.
std::optional<std::string> refusalOfUrl(const std::string& url);

/// Why an answer from one URL may not lead on to the other: that one is not fit, or the way leads from https to http.
std::optional<std::string> refusalOfRedirect(const std::string& from, const std::string& to);

/// Whether the URL's host is this device, where no proxy has a say.
bool leadsToThisDevice(const std::string& url);

}  // namespace harvelstone::platform
