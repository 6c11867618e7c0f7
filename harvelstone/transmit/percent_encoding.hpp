#pragma once

#include <string>
#include <string_view>

namespace harvelstone {

/// The text with every byte that is no ASCII letter, digit, "-", ".", "_" or "~" written as "%" and two upper-case
/// hexadecimal digits.
std::string percentEncoded(std::string_view text);

}  // namespace harvelstone
