#pragma once

#include <optional>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// What a session-scoped value is until it is put: "" for the texts that a session section needs, 0 for its numbers, an
/// empty list for its traces. Absent for every other key.
std::optional<Value> sessionDefault(std::string_view key);

}  // namespace harvelstone
