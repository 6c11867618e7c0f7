#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone::platform {

/// Containers nested deeper than this do not parse, and are not serialised, unless the caller says otherwise.
inline constexpr std::size_t jsonDepthLimit = maximumNestingDepth;

/// Files of ours hold values that entered within the limit, a few containers further in.
inline constexpr std::size_t storedJsonDepthLimit = 2 * maximumNestingDepth;

/// Reads one JSON text of any kind (scalars included). Absent when it is empty, no JSON, not valid UTF-8, or nested
/// too deep. An integer beyond 64 bits becomes a double; of a key that stands twice the last value counts.
std::optional<Value> parseJson(std::string_view text, std::size_t depthLimit = jsonDepthLimit);

/// Parses the body of a reply. An absent body raises InvalidArgumentException; one that is no JSON parses to nothing.
std::optional<Value> parseJsonBody(const std::optional<std::string>& body);

/// Compact JSON text: no white space, keys in the order of their bytes, numbers as the shortest text that reads back
/// the same (a double keeps its point), text beyond ASCII as it is.
std::string jsonText(const Value& value);
std::string jsonText(const Dictionary& dictionary);

/// The same for a payload of unknown depth: absent, with the reason in `error`, when it is nested too deep.
std::optional<std::string> serializeJson(const Dictionary& payload, std::string& error);

}  // namespace harvelstone::platform
