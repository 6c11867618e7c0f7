// Counts in the ledger what a queue file still holds before housekeeping deletes it. Writes the pending list's account
// (DOCUMENT_TARGET_NAME, "Ledger"). Runs on the main queue and on the threads that passes run on.

#include "harvelstone/housekeeping/queue_deletion.hpp"

#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/services/LaterLines.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

using Deletion = DocumentAccount::Deletion;

/// Says whether the account has to be stored before the file goes. It has where a pending document holds records of the
/// file, too: on disk it may be the file alone that tells of them.
bool count(const std::string& name, const Deletion& deletion) {
    bool isPending = false;
    bool isChanged = false;
    documetNameList->update([&](const DocumentNames& names) {
        auto account = names.account();
        isPending = deletion.counts.consumed != 0 && names.contains(queueOwner(name)->documentId);
        isChanged = account.beginDeletion(name, isPending, deletion);
        return isChanged ? names.withAccount(std::move(account)) : names;
    });
    return isChanged || isPending;
}

void commitAccount(LaterLines& lines) {
    storeDocumentNames();
    StorageBatch::commitAlone(**documentDB, lines);  // what fails is logged, and written later
}

/// The deletion has happened, or has failed. Stored with the next commit: until then a look at the file tells.
void closeDeletion(const std::string& name, bool isGone) {
    if (!documetNameList->load()->account().deletions.contains(name)) return;
    documetNameList->update([&](const DocumentNames& names) {
        auto account = names.account();
        isGone ? account.endDeletion(name) : account.revertDeletion(name);
        return names.withAccount(std::move(account));
    });
}

}  // namespace

bool isQueueName(std::string_view name) {
    return queueOwner(name) && canBeStored(name) && corruptFileOwner(storedFileName(name)).empty();
}

void countBeforeDeletion(const std::vector<std::string>& names, std::string_view outcome) {
    LaterLines lines;
    const StorageBatch batch;
    bool isToBeStored = false;
    for (const auto& name : names) {
        if (!isQueueName(name)) continue;
        if (const auto counts = QueueFile(name).count(); counts && counts->size != 0)
            isToBeStored = count(name, {*counts, std::string(outcome)}) || isToBeStored;
    }
    if (isToBeStored) commitAccount(lines);
}

platform::Result<void> deleteQueue(const std::string& name, std::string_view outcome) {
    LaterLines lines;
    const StorageBatch batch;
    auto removed = QueueFile(name).remove([&](const QueueCounts& counts) {
        if (count(name, {counts, std::string(outcome)})) commitAccount(lines);
    });
    const bool isGone = removed || isMissing(removed.error());  // another thread's pruning may have come first
    closeDeletion(name, isGone);
    return removed;
}

}  // namespace harvelstone
