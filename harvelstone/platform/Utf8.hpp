#pragma once

#include <string>
#include <string_view>

namespace harvelstone::platform {

bool isValidUtf8(std::string_view text);

/// The text with each byte that is no part of a well-formed UTF-8 sequence replaced by U+FFFD.
std::string repairedUtf8(std::string_view text);

}  // namespace harvelstone::platform
