#pragma once

#include <string>

#include "tools/storage_contents.hpp"

namespace harvelstone::tools {

/// Every record in the folder that was not sent, as JSON Lines: those in the documents that wait, those in queues, and
/// those that can be read in queues that were set aside.
/// {"document": id, "kind": "click", "pending": whether that document waits, "in": document or queue, "record": {...}}
std::string unsentRecordLines(const StorageContents& contents);

}  // namespace harvelstone::tools
