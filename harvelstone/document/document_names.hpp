#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/services/NamedMap.hpp"

namespace harvelstone {

/// The key of the account in the document DB map.
inline constexpr std::string_view ledgerKey = "Ledger";

/// Stores the pending list in the document DB map under DOCUMENT_TARGET_NAME, and its account under `ledgerKey`, with
/// one put: no commit ever holds the one without the other. When another thread changes the list
/// meanwhile, the later state is stored last, so that list and store agree once both have returned.
void storeDocumentNames();

/// The pending list as that map holds it, oldest first; absent when there is none or it is no list. Elements that
/// can name no document are left out.
std::optional<std::vector<std::string>> storedDocumentNames(const NamedMap& db);

/// The list and its account as they stand in the values of that map; what is missing is empty.
DocumentNames documentNamesIn(const Dictionary& db);

/// Adds the documents that ended children of this process, or of an earlier one, left behind to the pending list, and
/// their files to the storage folder. A child that still runs keeps its own. What fails is tried again the next time.
/// Once no such folder is there, it looks again only when this process has forked. Nothing in a forked child.
/// document/adoption.cpp
void adoptForkedDocuments();

/// For a document DB map that could not be read at start-up: joins what was put since with what the file holds. The
/// documents of earlier lives stand in front, in memory too; counts of visits and documents add up.
void joinDocumentDb(Dictionary& put, const Dictionary& stored);

}  // namespace harvelstone
