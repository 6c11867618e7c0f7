// The settled part of the ledger: its entries, and its form in the document DB map. Pure functions, any thread.

#include "harvelstone/document/DocumentAccount.hpp"

#include <algorithm>
#include <utility>

#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

std::uint64_t readCount(const Dictionary& counts, std::string_view key) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(0, integerValue(findValue(counts, key))));
}

Dictionary readDictionary(const Dictionary& values, std::string_view key) {
    const auto value = findValue(values, key);
    return value && value->dictionary() ? *value->dictionary() : Dictionary();
}

Dictionary storedFates(const FateCounts& counts) {
    Dictionary stored;
    for (std::size_t i = 0; i < fateCount; ++i)
        if (counts.byFate[i] != 0) stored.emplace(fateName(static_cast<Fate>(i)), counts.byFate[i]);
    return stored;
}

Dictionary storedDeletion(const DocumentAccount::Deletion& deletion) {
    const auto& counts = deletion.counts;
    Dictionary stored{{"damaged", counts.damaged}, {"outcome", deletion.outcome}, {"unread", counts.unread}};
    if (counts.header) stored.emplace("created", counts.header->created);
    return stored;
}

/// Enough to know the file again and to take back what was counted.
DocumentAccount::Deletion readDeletion(const Dictionary& stored) {
    DocumentAccount::Deletion deletion;
    const auto outcome = findValue(stored, "outcome");
    if (outcome && outcome->string()) deletion.outcome = *outcome->string();
    deletion.counts.unread = readCount(stored, "unread");
    deletion.counts.damaged = readCount(stored, "damaged");
    if (stored.contains("created")) deletion.counts.header.emplace().created = readCount(stored, "created");
    return deletion;
}

/// When the file was made, which tells it from others of its name.
std::uint64_t creation(const QueueCounts& counts) { return counts.header ? counts.header->created : 0; }

}  // namespace

DocumentAccount& DocumentAccount::operator+=(const DocumentAccount& other) {
    created += other.created;
    for (std::size_t i = 0; i < fateCount; ++i) retired.byFate[i] += other.retired.byFate[i];
    for (const auto& [kind, outcomes] : other.settled)
        for (const auto& [outcome, count] : outcomes) settle(kind, outcome, count);
    assembled.insert(other.assembled.begin(), other.assembled.end());
    deletions.insert(other.deletions.begin(), other.deletions.end());
    adoptedFolders.insert(other.adoptedFolders.begin(), other.adoptedFolders.end());
    return *this;
}

std::uint64_t carriedRecords(RecordKind kind, std::uint64_t assembled) {
    return kind == RecordKind::push ? std::min<std::uint64_t>(assembled, 1) : assembled;
}

void DocumentAccount::settle(RecordKind kind, std::string_view outcome, std::uint64_t count) {
    if (count != 0) settled[kind][std::string(outcome)] += count;
}

void DocumentAccount::settleAssembled(RecordKind kind, std::uint64_t count, Fate fate) {
    const auto carried = carriedRecords(kind, count);
    settle(kind, fateName(fate), carried);
    settle(kind, pushSurplus, count - carried);
}

void DocumentAccount::settleDocument(const std::string& documentId, Fate fate, const RecordCounts& earlier) {
    beingFilled.erase(documentId);
    auto counts = earlier;
    if (const auto known = assembled.find(documentId); known != assembled.end()) {
        for (const auto& [kind, count] : known->second) counts.insert_or_assign(kind, count);
        assembled.erase(known);
    }
    for (const auto& [kind, count] : counts) settleAssembled(kind, count, fate);
}

bool DocumentAccount::beginDeletion(const std::string& queue, bool isPending, const Deletion& deletion) {
    const auto owner = queueOwner(queue);
    const auto before = deletions.find(queue);
    if (!owner || (before != deletions.end() && before->second == deletion)) return false;
    const auto& counts = deletion.counts;
    const bool holdsNew = isPending && counts.consumed != 0 && !knowsAssembled(owner->documentId, owner->kind);
    if (!holdsNew && counts.unread + counts.damaged == 0 && before == deletions.end()) return false;
    revertIfStillThere(queue, counts);
    settle(owner->kind, deletion.outcome, counts.unread);
    settle(owner->kind, damagedStretch, counts.damaged);
    if (holdsNew) assembled[owner->documentId].emplace(owner->kind, counts.consumed);
    if (counts.unread + counts.damaged != 0) deletions.insert_or_assign(queue, deletion);
    return true;
}

void DocumentAccount::revertDeletion(const std::string& queue) {
    const auto owner = queueOwner(queue);
    const auto found = deletions.find(queue);
    if (!owner || found == deletions.end()) return;
    auto& outcomes = settled[owner->kind];
    const auto takeBack = [&](const std::string& outcome, std::uint64_t count) {
        auto& settledCount = outcomes[outcome];
        settledCount -= std::min(settledCount, count);
        if (settledCount == 0) outcomes.erase(outcome);
    };
    takeBack(found->second.outcome, found->second.counts.unread);
    takeBack(std::string(damagedStretch), found->second.counts.damaged);
    if (outcomes.empty()) settled.erase(owner->kind);
    deletions.erase(found);
}

void DocumentAccount::revertIfStillThere(const std::string& queue, const QueueCounts& there) {
    const auto found = deletions.find(queue);
    if (found == deletions.end()) return;
    const auto creationThen = creation(found->second.counts);
    // One without a header gets it when it is emptied.
    if (there.size != 0 && (creationThen == 0 || creation(there) == creationThen)) revertDeletion(queue);
}

bool DocumentAccount::knowsAssembled(const std::string& documentId, RecordKind kind) const {
    const auto found = assembled.find(documentId);
    return found != assembled.end() && found->second.contains(kind);
}

Dictionary storedAccount(const DocumentAccount& account) {
    Dictionary settled;
    for (const auto& [kind, outcomes] : account.settled)
        settled.emplace(recordKindName(kind), Dictionary(outcomes.begin(), outcomes.end()));
    Dictionary assembled;
    for (const auto& [documentId, counts] : account.assembled) {
        if (account.beingFilled.contains(documentId)) continue;
        Dictionary byKind;
        for (const auto& [kind, count] : counts) byKind.emplace(recordKindName(kind), count);
        assembled.emplace(documentId, std::move(byKind));
    }
    Dictionary deletions;
    for (const auto& [queue, deletion] : account.deletions) deletions.emplace(queue, storedDeletion(deletion));
    Dictionary stored{{"created", account.created}, {"retired", storedFates(account.retired)}};
    if (!settled.empty()) stored.emplace("records", std::move(settled));
    if (!assembled.empty()) stored.emplace("assembled", std::move(assembled));
    if (!deletions.empty()) stored.emplace("deletions", std::move(deletions));
    const auto& folders = account.adoptedFolders;
    if (!folders.empty()) stored.emplace("adopted", List(folders.begin(), folders.end()));
    return stored;
}

std::optional<DocumentAccount> readStoredAccount(const std::optional<Value>& stored) {
    const Dictionary* values = stored ? stored->dictionary() : nullptr;
    if (values == nullptr) return std::nullopt;
    DocumentAccount account;
    account.created = readCount(*values, "created");
    const auto retired = readDictionary(*values, "retired");
    for (std::size_t i = 0; i < fateCount; ++i)
        account.retired.byFate[i] = readCount(retired, fateName(static_cast<Fate>(i)));
    const auto settled = readDictionary(*values, "records");
    for (const auto kind : allRecordKinds) {
        const auto outcomes = readDictionary(settled, recordKindName(kind));
        for (const auto& entry : outcomes) account.settle(kind, entry.first, readCount(outcomes, entry.first));
    }
    const auto assembled = readDictionary(*values, "assembled");
    for (const auto& [documentId, counts] : assembled)
        for (const auto kind : allRecordKinds)
            if (const auto* byKind = counts.dictionary(); byKind && byKind->contains(recordKindName(kind)))
                account.assembled[documentId].emplace(kind, readCount(*byKind, recordKindName(kind)));
    const auto deletions = readDictionary(*values, "deletions");
    for (const auto& [queue, deletion] : deletions)
        if (deletion.dictionary() && queueOwner(queue) && canBeStored(queue))
            account.deletions[queue] = readDeletion(*deletion.dictionary());
    const auto adopted = findValue(*values, "adopted");
    if (adopted && adopted->list())
        for (const auto& folder : *adopted->list())
            if (folder.string()) account.adoptedFolders.insert(*folder.string());
    return account;
}

}  // namespace harvelstone
