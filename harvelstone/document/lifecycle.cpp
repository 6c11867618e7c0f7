// The one manager and its start-up. Reads the pending list and its account from the document DB map under
// DOCUMENT_TARGET_NAME and "Ledger"; what the first document writes is said in creation.cpp. Runs on the thread of the
// first caller, under the class lock.

#include <fmt/format.h>
#include <mutex>
#include <string>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TinyMap.hpp"

namespace harvelstone {

namespace {

constexpr double startUpHoldSeconds = 30.0;

/// What `sharedInstance` keeps.
struct Shared {
    std::recursive_mutex classLock;  // recursive, so that a call from inside start-up does not wait for itself
    DocumentManager* manager = nullptr;
};
constinit platform::PerProcess<Shared> shared;

/// Deletions that an earlier life began: what was counted for them holds of the files that have gone.
DocumentAccount withDeletionsEnded(DocumentAccount account) {
    const auto begun = account.deletions;
    for (const auto& entry : begun) {
        const auto there = QueueFile(entry.first).count();
        if (!there) continue;  // nobody knows before it can be read
        account.revertIfStillThere(entry.first, *there);
        account.endDeletion(entry.first);
    }
    return account;
}

/// Puts the stored list in force, or an empty one; says whether there was a stored one. A child made by fork begins
/// with an empty one: the documents that wait are its parent's to send.
bool restoreNames() {
    if (parentsStorageFolder()) {
        documetNameList->store(DocumentNames());
        return false;
    }
    DocumentNames names;
    bool wasStored = false;
    // In one step: what can be read only after this comes into the list by itself, and is not to be replaced then.
    if ((*documentDB)->load())
        (*documentDB)->read([&](const Dictionary& held) {
            const auto stored = held.find(*DOCUMENT_TARGET_NAME);
            wasStored = stored != held.end() && stored->second.list() != nullptr;
            names = documentNamesIn(held);
        });
    // The line's words do not fit the branch: it says "zero" whenever there is a list. Kept so on purpose.
    if (wasStored) BSDebugger::log("DEBUG_HARVELSTONE_CONFIG : documentDB->DOCUMENT_TARGET_NAME size is zero. ");
    documetNameList->store(names.withAccount(withDeletionsEnded(names.account())));
    return wasStored;
}

}  // namespace

DocumentManager& DocumentManager::sharedInstance() {
    auto& ours = *shared;
    const std::lock_guard lock(ours.classLock);
    if (ours.manager == nullptr) {
        const StorageBatch batch;
        ours.manager = new DocumentManager();
    }
    return *ours.manager;
}

DocumentManager::DocumentManager() {
    if (!platform::isOutOfAction()) platform::setStartUpOutOfAction([] { static_cast<void>(sharedInstance()); });
    sendStartTimestamp = BSUtil::currentTimeMillis() + startUpHoldSeconds;
    sendRcount = 0;
    sendLock = false;
    sessionManager = &SessionManager::sharedInstance();
    *documentDB = TinyMap::sharedInstance().get(StaticValues::DOCUMENT_DB_NAME());
    (*documentDB)->setLateMerge(joinDocumentDb);
    BSDebugger::log(
        [] { return fmt::format("DEBUG_HARVELSTONE_CONFIG : documentDB Data -> {}", (*documentDB)->jsonString()); });
    profiler = &ProfileManager::sharedInstance();

    const bool wasStored = restoreNames();
    // A throw-away map: nothing is put into it, so it never becomes a file, and it never joins the list.
    const auto throwAway = TinyMap::sharedInstance().get(platform::Platform::current().device->uuidText());
    currentDocument->store(throwAway);
    if (!wasStored)
        BSDebugger::log([&] {
            return fmt::format("DEBUG_HARVELSTONE_CONFIG : currentDocument Data -> {}", throwAway->jsonString());
        });
    createDocument();
}

}  // namespace harvelstone
