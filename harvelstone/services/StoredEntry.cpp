// Values that can be cleared, as entries of a named map. Stores nothing of its own. Any thread.

#include "harvelstone/services/StoredEntry.hpp"

namespace harvelstone {

namespace {

constexpr std::string_view valueKey = "value";

}  // namespace

StoredEntry storedEntry(const NamedMap& store, std::string_view key) {
    const auto stored = store.get(key);
    if (!stored || !stored->dictionary()) return {};
    return {.isKnown = true, .value = findValue(*stored->dictionary(), valueKey)};
}

void putEntry(NamedMap& store, std::string_view key, const Value& value) {
    Dictionary entry;
    if (!value.isNull()) setValue(entry, valueKey, value);
    store.putDictionary(key, std::move(entry));
}

}  // namespace harvelstone
