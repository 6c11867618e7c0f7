#pragma once

#include <optional>
#include <string_view>

#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/NamedMap.hpp"

namespace harvelstone {

/// A value under a key of its own that can be cleared, which is not the same as never put: a cleared value is absent,
/// one that was never put has its default. On disk {"value": ...}, and {} when it was cleared.
struct StoredEntry {
    bool isKnown = false;        ///< put or cleared
    std::optional<Value> value;  ///< absent when it was cleared
};

/// What is stored under the key. Something that is no entry counts as never put.
StoredEntry storedEntry(const NamedMap& store, std::string_view key);

/// Puts the value; null clears.
void putEntry(NamedMap& store, std::string_view key, const Value& value);

}  // namespace harvelstone
