#pragma once

#include <optional>
#include <string>

#include "tools/storage_contents.hpp"

namespace harvelstone::tools {

enum class InspectFormat { text, json, unsentRecords };

struct InspectOptions {
    std::string folder;
    InspectFormat format = InspectFormat::text;
    std::optional<std::string> htmlFile;
    bool verifies = false;  ///< damage is a failure, and alone is told where nothing else was asked for
};

/// {"pending": [ids], "documentDB": {...}, "documents": {id: {...}}, "queues": {name: [records]},
/// "held": {name: count}, "ledger": {...}, "forked": {folder: {...}}, "damaged": [...]}.
std::string storageJson(StorageContents contents);
/// The same as a tree for people.
std::string storageText(const StorageContents& contents);
/// The same as a page that needs nothing besides.
std::string storageHtml(StorageContents contents, const std::string& folder);
/// What is damaged, a line each; says so when nothing is.
std::string damageText(const StorageContents& contents);

/// `harvelstone inspect`.
int runInspect(const InspectOptions& options);

}  // namespace harvelstone::tools
