// Takes over what forked children left: the files of their documents, and the pending list that their document DB map
// holds under DOCUMENT_TARGET_NAME. Empties and deletes their folders. Runs on the thread that makes a document.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/FolderClaim.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/map_format.hpp"

namespace harvelstone {

namespace {

/// The documents that waited in that folder.
std::vector<std::string> namesIn(const std::string& folder) {
    const auto contents = map_format::readMapFile(folder + storedFileName(StaticValues::DOCUMENT_DB_NAME()));
    if (!contents) return {};
    return documentNamesFrom(findValue(contents->values, *DOCUMENT_TARGET_NAME)).value_or(std::vector<std::string>());
}

/// A file that could not be moved stays, and with it the folder. False when there is one.
bool moveFiles(const std::string& folder) {
    auto& fileSystem = *platform::Platform::current().fileSystem;
    const auto files = fileSystem.list(folder);
    if (!files) return false;
    bool areAllMoved = true;
    for (const auto& file : *files) {
        const auto name = storedName(file);
        if (name.empty() || isLongLivedStore(name) || fileSystem.exists(storageFolder() + file)) continue;
        const bool isMoved = fileSystem.rename(folder + file, storageFolder() + file).ok();
        areAllMoved = isMoved && areAllMoved;
    }
    noteFolderChange();
    return areAllMoved;
}

bool contains(const DocumentNames& names, const std::string& name) {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names.at(i) == name) return true;
    return false;
}

DocumentNames withAdopted(DocumentNames names, const std::vector<std::string>& adopted) {
    for (const auto& name : adopted)
        if (!contains(names, name)) names = names.withAppended(name);
    return names;
}

/// Whether all of them are in the pending list on disk.
bool areStored(const std::vector<std::string>& adopted) {
    const DocumentNames stored(namesIn(storageFolder()));
    return std::all_of(adopted.begin(), adopted.end(), [&](const auto& name) { return contains(stored, name); });
}

/// Each step can be repeated, so that a crash between two of them costs nothing.
void adopt(const std::string& folder) {
    const auto claim = platform::FolderClaim::of(folder);
    if (!claim || !moveFiles(folder)) return;
    if (const auto adopted = namesIn(folder); !adopted.empty()) {
        documetNameList->update([&](const DocumentNames& names) { return withAdopted(names, adopted); });
        storeDocumentNames();
        (*documentDB)->save();
        if (!areStored(adopted)) return;
    }
    static_cast<void>(platform::Platform::current().fileSystem->remove(folder));  // else the next time
}

}  // namespace

void adoptForkedDocuments() {
    if (parentsStorageFolder()) return;
    const auto files = platform::Platform::current().fileSystem->list(storageFolder());
    if (!files) return;
    for (const auto& file : *files)
        if (isForkedFolder(file)) adopt(storageFolder() + file + "/");
}

}  // namespace harvelstone
