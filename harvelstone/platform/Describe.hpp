#pragma once

#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone::platform {

/// How a value stands in a log line: text as it is, a number in decimal, a list or dictionary as compact JSON text, an
/// exception or error as its reason, and whatever is absent as "(null)".
std::string describe(const std::string& text);
std::string describe(const Value& value);
std::string describe(const Dictionary& dictionary);
std::string describe(const std::vector<std::string>& texts);
std::string describe(const Exception& exception);
std::string describe(const std::error_code& error);

template <typename T>
std::string describe(const std::optional<T>& value) {
    return value ? describe(*value) : "(null)";
}

}  // namespace harvelstone::platform
