#pragma once

#include <optional>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone::testing {

/// The value of a JSON text as nlohmann/json reads it; absent when it is none.
std::optional<Value> independentlyParsed(std::string_view text);

}  // namespace harvelstone::testing
