// Takes over what forked children left: the files of their documents, and the pending list that their document DB map
// holds under DOCUMENT_TARGET_NAME. Empties and deletes their folders. Runs on the thread that makes a document.

#include <cstddef>
#include <optional>
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

/// The documents that wait in that folder, with their account; absent when they cannot be read.
std::optional<DocumentNames> namesIn(const std::string& folder) {
    const auto contents = map_format::readMapFile(folder + storedFileName(StaticValues::DOCUMENT_DB_NAME()));
    if (!contents && isMissing(contents.error())) return DocumentNames();
    if (!contents || !contents->damage.empty()) return std::nullopt;
    auto names = documentNamesFrom(findValue(contents->values, *DOCUMENT_TARGET_NAME));
    auto account = readStoredAccount(findValue(contents->values, ledgerKey));
    return DocumentNames(std::move(names).value_or(std::vector<std::string>()), account.value_or(DocumentAccount()));
}

/// False when a file could not be moved.
bool moveFiles(const std::string& folder) {
    auto& fileSystem = *platform::Platform::current().fileSystem;
    const auto files = fileSystem.list(folder);
    if (!files) return false;
    bool areAllMoved = true;
    for (const auto& file : *files) {
        const auto name = storedName(file);
        if (name.empty() || isLongLivedStore(name)) continue;
        const auto target = storageFolder() + file;
        const bool isMoved = !fileSystem.exists(target) && fileSystem.rename(folder + file, target).ok();
        areAllMoved = isMoved && areAllMoved;
    }
    noteFolderChange();
    return areAllMoved;
}

/// Whether all of them are in the pending list on disk.
bool areStored(const DocumentNames& adopted) {
    const auto stored = namesIn(storageFolder());
    if (!stored) return false;
    for (std::size_t i = 0; i < adopted.size(); ++i)
        if (!stored->contains(adopted.at(i))) return false;
    return true;
}

/// Each step can be repeated, so that a crash between two of them costs nothing. The folder goes when nothing is in it
/// that has not been taken over.
void adopt(const std::string& folder) {
    const auto claim = platform::FolderClaim::of(folder);
    const auto adopted = claim ? namesIn(folder) : std::nullopt;
    if (!adopted || !moveFiles(folder)) return;
    if (!adopted->empty()) {
        documetNameList->update([&](const DocumentNames& names) { return names.withAdopted(*adopted); });
        storeDocumentNames();
        (*documentDB)->save();
        if (!areStored(*adopted)) return;
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
