// The ledger of this process: what the pending list's account has settled and what the stored queues still hold.
// Changes nothing. Any thread.

#include "harvelstone/document/current_ledger.hpp"

#include <set>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

Ledger::Records& recordsOf(Ledger& ledger, RecordKind kind) {
    return ledger.records[std::string(recordKindName(kind))];
}

bool isFate(const std::string& outcome) {
    for (std::size_t i = 0; i < fateCount; ++i)
        if (fateName(static_cast<Fate>(i)) == outcome) return true;
    return false;
}

void addSettled(Ledger::Records& records, const std::string& outcome, std::uint64_t count) {
    records.recorded += count;
    if (isFate(outcome)) records.assembled += count;
    if (outcome == damagedStretch)
        records.damaged += count;
    else if (outcome == fateName(Fate::sent))
        records.sent += count;
    else
        records.dropped[outcome] += count;
}

/// Records that a pending document holds.
void addAssembled(Ledger& ledger, RecordKind kind, std::uint64_t count) {
    auto& records = recordsOf(ledger, kind);
    records.recorded += count;
    records.pending += count;
    records.assembled += carriedRecords(kind, count);
}

std::set<std::string> queueNames() {
    std::set<std::string> names;
    if (const auto files = platform::Platform::current().fileSystem->list(storageFolder()))
        for (const auto& file : *files)
            if (corruptFileOwner(file).empty()) names.emplace(storedName(file));
    for (auto& name : QueueFile::namesInMemory()) names.insert(std::move(name));
    return names;
}

}  // namespace

Ledger makeLedger(DocumentAccount account, const std::vector<std::string>& pending,
                  const std::map<std::string, QueueCounts>& queues) {
    for (const auto& [name, counts] : queues) account.revertIfStillThere(name, counts);
    Ledger ledger;
    ledger.documents = {.created = account.created,
                        .sent = account.retired[Fate::sent],
                        .retired = account.retired.dropped(),
                        .pending = pending.size()};
    for (const auto kind : allRecordKinds) recordsOf(ledger, kind);
    for (const auto& [kind, outcomes] : account.settled)
        for (const auto& [outcome, count] : outcomes) addSettled(recordsOf(ledger, kind), outcome, count);
    for (const auto& [documentId, counts] : account.assembled)
        for (const auto& [kind, count] : counts) addAssembled(ledger, kind, count);
    const std::set<std::string> pendingIds(pending.begin(), pending.end());
    for (const auto& [name, counts] : queues) {
        const auto owner = queueOwner(name);
        if (!owner) continue;
        auto& records = recordsOf(ledger, owner->kind);
        records.recorded += counts.unread + counts.damaged;
        records.pending += counts.unread;
        records.damaged += counts.damaged;
        // What retired documents held is settled.
        if (pendingIds.contains(owner->documentId) && !account.knowsAssembled(owner->documentId, owner->kind))
            addAssembled(ledger, owner->kind, counts.consumed);
    }
    return ledger;
}

Ledger currentLedger() {
    std::map<std::string, QueueCounts> queues;
    for (const auto& name : queueNames())
        if (queueOwner(name) && canBeStored(name))
            if (const auto counts = QueueFile(name).count()) queues.emplace(name, *counts);
    const auto names = documetNameList->load();
    return makeLedger(names->account(), names->asVector(), queues);
}

}  // namespace harvelstone
