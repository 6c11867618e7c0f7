#pragma once

#include <cstdint>
#include <optional>

#include "harvelstone/document/Fate.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// What is settled about documents and records: the part of the ledger that no other file tells. It is stored beside
/// the pending list, in the same commit.
struct DocumentAccount {
    std::uint64_t created = 0;
    FateCounts retired;

    /// Takes another account in, of documents that this one does not know.
    DocumentAccount& operator+=(const DocumentAccount& other);

    friend bool operator==(const DocumentAccount&, const DocumentAccount&) = default;
};

/// As it stands in the document DB map.
Dictionary storedAccount(const DocumentAccount& account);
/// The inverse; absent when there is no dictionary. What is missing in it, or of another kind, reads as nothing
/// counted.
std::optional<DocumentAccount> readStoredAccount(const std::optional<Value>& stored);

}  // namespace harvelstone
