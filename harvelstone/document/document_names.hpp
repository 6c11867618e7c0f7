#pragma once

#include <optional>
#include <string>
#include <vector>

#include "harvelstone/services/NamedMap.hpp"

namespace harvelstone {

/// Stores the pending list in the document DB map under DOCUMENT_TARGET_NAME. When another thread changes the list
/// meanwhile, the later state is stored last, so that list and store agree once both have returned.
void storeDocumentNames();

/// The pending list as that map holds it, oldest first; absent when there is none or it is no list. Elements that are
/// no text are left out.
std::optional<std::vector<std::string>> storedDocumentNames(const NamedMap& db);

}  // namespace harvelstone
