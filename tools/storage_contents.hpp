#pragma once

#include <optional>
#include <string>
#include <vector>

#include "harvelstone/document/Ledger.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone::tools {

/// What lies in a storage folder.
struct StorageContents {
    std::string folder;     ///< what file names here begin with: empty, or "forked-<UUID>/"
    List pending;           ///< document ids, oldest first
    Dictionary documentDB;  ///< the document DB map
    Dictionary documents;   ///< sections by document id
    Dictionary queues;      ///< lists of unread records by queue name
    Dictionary held;        ///< how many of those, from the first, the document holds already; by queue name, if any
    Ledger ledger;          ///< as a process that starts now would find it
    List damaged;           ///< {"file", "why", ...}: what could not be read, and what of it could

    /// What forked children have left in folders of their own, by name; what is damaged there is told above.
    std::vector<StorageContents> forked;
};

/// Reads the folder without changing anything in it; absent, with the reason in `error`, when it cannot be listed.
std::optional<StorageContents> readStorage(const std::string& folder, std::string& error);

}  // namespace harvelstone::tools
