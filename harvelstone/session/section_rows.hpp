#pragma once

#include <optional>
#include <span>
#include <string>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// A key of StaticValues, by its accessor.
using KeyAccessor = const std::string& (*)();

/// The number under the key in the document DB map; absent when there is none, or something that is no number.
inline std::optional<Value> storedNumber(KeyAccessor key) {
    auto stored = (*documentDB)->get(key());
    return stored && stored->isNumber() ? std::move(stored) : std::nullopt;
}

/// One key of a session section and where its value comes from.
struct SectionRow {
    KeyAccessor key = nullptr;
    std::optional<Value> (*fetch)() = nullptr;
    bool (*isWanted)() = nullptr;  ///< the row is left out when it answers false; always wanted without it
};

/// Sources of a row: a getter of the profile manager, and the text under the key in its session-scoped store.
template <auto getter>
std::optional<Value> profiled() {
    return (profiler->*getter)();
}

template <KeyAccessor key>
std::optional<Value> sessionString() {
    return profiler->getSessionStringData(key());
}

/// Inserts the rows in their order. An absent value raises platform::InvalidArgumentException naming its key.
inline void insertRows(Dictionary& session, std::span<const SectionRow> rows) {
    for (const auto& row : rows)
        if (row.isWanted == nullptr || row.isWanted()) setValue(session, row.key(), row.fetch());
}

}  // namespace harvelstone
