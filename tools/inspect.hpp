#pragma once

#include <string>

#include "tools/storage_contents.hpp"

namespace harvelstone::tools {

struct InspectOptions {
    std::string folder;
    bool asJson = false;
};

/// {"pending": [ids], "documentDB": {...}, "documents": {id: {...}}, "queues": {name: [records]}, "damaged": [...]}.
std::string storageJson(StorageContents contents);
/// The same as a tree for people.
std::string storageText(const StorageContents& contents);

/// `harvelstone inspect`.
int runInspect(const InspectOptions& options);

}  // namespace harvelstone::tools
