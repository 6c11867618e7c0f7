// Takes over what forked children left: the files of their documents, and the pending list that their document DB map
// holds under DOCUMENT_TARGET_NAME. Empties and deletes their folders. Runs on the thread that makes a document.

#include <atomic>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/FolderClaim.hpp"
#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/map_format.hpp"

namespace harvelstone {

namespace {

/// Whether the latest look at the storage folder has found no folder of a child.
constinit platform::PerProcess<std::atomic<bool>> hasFoundNone;

/// The documents that wait in that folder, with their account; absent when they cannot be read.
std::optional<DocumentNames> namesIn(const std::string& folder) {
    const auto contents = map_format::readMapFile(folder + storedFileName(StaticValues::DOCUMENT_DB_NAME()));
    if (!contents && isMissing(contents.error())) return DocumentNames();
    if (!contents || !contents->damage.empty()) return std::nullopt;
    return documentNamesIn(contents->values);
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

/// A folder that has gone need not be remembered.
void forgetAdoptedBut(const std::vector<std::string>& files) {
    std::set<std::string> there;
    const auto known = documetNameList->load()->account().adoptedFolders;
    for (const auto& file : files)
        if (known.contains(file)) there.insert(file);
    if (there != known)
        documetNameList->update([&](const DocumentNames& names) { return names.withAdoptedFolders(there); });
}

/// Takes the child's documents into the list, if that was not done before. False when the list on disk does not say so
/// afterwards.
bool addToList(const std::string& name, const DocumentNames& childs) {
    documetNameList->update([&](const DocumentNames& names) { return names.withAdopted(childs, name); });
    storeDocumentNames();
    (*documentDB)->save();
    const auto stored = namesIn(storageFolder());
    return stored && stored->account().adoptedFolders.contains(name);
}

/// Each step can be repeated, so that a crash between two of them costs nothing. The folder goes when nothing is in it
/// that has not been taken over.
void adopt(const std::string& name) {
    const auto folder = storageFolder() + name + "/";
    const auto claim = platform::FolderClaim::of(folder);
    const auto childs = claim ? namesIn(folder) : std::nullopt;
    if (!childs || !moveFiles(folder)) return;
    const bool hasMadeDocuments = childs->account().created > 0;
    if (hasMadeDocuments && !addToList(name, *childs)) return;
    static_cast<void>(platform::Platform::current().fileSystem->remove(folder));  // else the next time
}

}  // namespace

void adoptForkedDocuments() {
    if (parentsStorageFolder() || (*hasFoundNone && !platform::hasForked())) return;
    auto files = platform::Platform::current().fileSystem->list(storageFolder());
    if (!files) return;
    std::erase_if(*files, [](const auto& file) { return !isForkedFolder(file); });
    *hasFoundNone = files->empty();
    forgetAdoptedBut(*files);
    for (const auto& file : *files) adopt(file);
}

}  // namespace harvelstone
