// Counts the host's records life by life, and what the end of a life takes from the ledger or adds to it.

#include "tests/simulation/RecordTally.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <span>

#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/queue_format.hpp"
#include "harvelstone/services/queue_scan.hpp"

#include "tests/simulation/StoredState.hpp"
#include "tests/support/independent_json.hpp"
#include "tests/support/stored_ledger.hpp"

namespace harvelstone::testing {

namespace {

using What = Fact::What;

void add(std::set<std::int64_t>& numbers, const Dictionary& document) {
    for (const auto& [queue, inSection] : numbersOf(document)) numbers.insert(inSection.begin(), inSection.end());
}

/// 0 without a header, or with that of before the file was emptied.
std::size_t recordsInHeader(const std::string& content) {
    const auto header = queue_format::readHeader(content);
    return header ? header->records : 0;
}

QueueContents queueIn(const std::string& content) { return readQueueContents(std::as_bytes(std::span(content))); }

std::vector<std::int64_t> unreadNumbersIn(const std::string& content) {
    std::string unread;
    for (const auto& record : queueIn(content).unread) unread += platform::jsonText(record) + "\n";
    return numbersIn(unread);
}

std::set<std::int64_t> unreadOn(const DiskImage& disk) {
    std::set<std::int64_t> unread;
    for (const auto& [path, file] : disk.files) {
        if (!queueNameOf(fileNameOf(path))) continue;
        const auto numbers = unreadNumbersIn(file.content);
        unread.insert(numbers.begin(), numbers.end());
    }
    return unread;
}

/// What all documents on the disk carry, pending or not.
void addDocuments(std::set<std::int64_t>& numbers, const DiskImage& disk) {
    for (const auto& [path, file] : disk.files) {
        const auto name = fileNameOf(path);
        if (!name.starts_with("0000") || queueNameOf(name)) continue;
        const auto document = independentlyParsed(file.content);
        if (document && document->dictionary()) add(numbers, *document->dictionary());
    }
}

DocumentNames namesOn(const DiskImage& disk) {
    return documentNamesIn(mapOn(disk, StaticValues::DOCUMENT_DB_NAME()).value_or(Dictionary()));
}

std::string wording(const Ledger::Records& counted) {
    auto text = fmt::format("sent {}, pending {}, damaged {}", counted.sent, counted.pending, counted.damaged);
    for (const auto& [reason, count] : counted.dropped) text += fmt::format(", {} {}", reason, count);
    return text;
}

/// Whether the account tells what of the queue went into its document, or what became of all that did.
bool isTold(const DocumentNames& names, const std::string& file) {
    const auto owner = queueOwner(storedName(file));
    return !names.contains(owner->documentId) || names.account().knowsAssembled(owner->documentId, owner->kind);
}

}  // namespace

Ledger ledgerFoundOn(const DiskImage& disk) {
    std::map<std::string, std::string> files;
    for (const auto& [path, file] : disk.files) files.emplace(fileNameOf(path), file.content);
    return ledgerOf(files);
}

std::vector<std::string> RecordTally::violationsAfter(const Facts& life, const DiskImage& disk) {
    beginLife();
    for (const auto& fact : life) take(fact);
    addDocuments(inDocuments_, disk);
    noteWhatTheEndCost(disk);

    std::vector<std::string> violations;
    const auto ledger = ledgerFoundOn(disk);
    for (const auto kind : allRecordKinds) {
        const auto& queue = queuePrefix(kind);
        const auto& counted = ledger.records.at(std::string(recordKindName(kind)));
        std::uint64_t least = 0, most = extra_[queue];
        for (const auto& [number, record] : records_) {
            if (record.queue != queue) continue;
            ++most;
            if (record.isAcknowledged && !lost_.contains(number) && !uncounted_.contains(number)) ++least;
        }
        // What a failed write left in the file, where it could not be cut off, counts as a record that is damaged.
        if (hasEverFailed_) most += counted.damaged;
        if (counted.recorded < least || counted.recorded > most)
            violations.push_back(
                fmt::format("after life {} the ledger counts {} records of {}; from {} to {} there are ({})", life_,
                            counted.recorded, queue, least, most, wording(counted)));
    }
    return violations;
}

void RecordTally::beginLife() {
    emptied_.clear();
    cut_.clear();
    for (auto& entry : records_) entry.second.metFailure = false;
    deleted_.clear();
    failedCalls_.clear();
    retired_.clear();
    hasLostPower_ = false;
}

void RecordTally::take(const Fact& fact) {
    life_ = fact.life;
    switch (fact.what) {
        case What::faulted:
            failedCalls_.insert(fact.text);
            hasEverFailed_ = true;
            break;
        case What::recording:
        case What::progressing:
            records_[fact.number].queue = fact.text;
            break;
        case What::recorded:
        case What::progressed:
            records_[fact.number].isAcknowledged = true;
            records_[fact.number].metFailure = !failedCalls_.empty();
            break;
        case What::written:
            takeWritten(fact);
            break;
        case What::takenBack:
            records_[fact.number].stands = false;
            held_[fact.text].erase(fact.number);
            break;
        case What::emptied:
            takeEmptied(fact.text);
            break;
        case What::headed:
            takeHeader(fact.text, static_cast<std::size_t>(fact.number));
            break;
        case What::removed:
            takeRemoval(fact.text);
            break;
        case What::retired:
            retired_.insert(fact.id);
            break;
        case What::uploaded:
            add(inDocuments_, *independentlyParsed(fact.text)->dictionary());
            break;
        case What::ended:
            hasLostPower_ = fact.text == "power lost";
            break;
        default:
            break;
    }
}

void RecordTally::takeWritten(const Fact& fact) {
    records_[fact.number].stands = true;
    held_[fact.text].insert(fact.number);
    removedFiles_.erase(fact.text);
}

void RecordTally::takeEmptied(const std::string& file) {
    const auto& numbers = held_[file];
    cut_[file] = emptied_[file] = numbers;
    if (retired_.contains(queueNameOf(file)->document)) uncounted_.insert(numbers.begin(), numbers.end());
}

void RecordTally::takeHeader(const std::string& file, std::size_t records) {
    removedFiles_.erase(file);
    const auto before = emptied_.find(file);
    if (before != emptied_.end() && before->second.size() <= records) emptied_.erase(before);
}

void RecordTally::takeRemoval(const std::string& file) {
    if (!queueNameOf(file)) return;
    deleted_[file].merge(held_[file]);
    held_.erase(file);
    removedFiles_.insert(file);
}

void RecordTally::noteWhatTheEndCost(const DiskImage& disk) {
    noteLost(disk);
    noteUncounted(disk);
    noteExtra(disk);
}

/// Whoever can no longer be written is in memory until the disk works. What a document took from there is not lost.
void RecordTally::noteLost(const DiskImage& disk) {
    if (failedCalls_.empty()) return;
    const auto unread = unreadOn(disk);
    for (const auto& [number, record] : records_) {
        const bool isSafe = record.stands && !hasLostPower_;
        if (record.metFailure && !isSafe && !unread.contains(number) && !inDocuments_.contains(number))
            lost_.insert(number);
    }
}

void RecordTally::noteUncounted(const DiskImage& disk) {
    const auto names = namesOn(disk);
    for (const auto& [file, numbers] : cut_) {
        const auto path = storedPath(file);
        const bool isHeadless = disk.files.contains(path) && recordsInHeader(disk.content(path)) < numbers.size();
        if (!isHeadless && !emptied_.contains(file)) continue;
        if (!isTold(names, file)) uncounted_.insert(numbers.begin(), numbers.end());
    }
    for (const auto& [file, numbers] : held_)
        if (retired_.contains(queueNameOf(file)->document) && hasFailedOn(file))
            uncounted_.insert(numbers.begin(), numbers.end());
    for (const auto& [file, numbers] : deleted_)
        if (hasFailedOn(file) || hasFailedOn(StaticValues::DOCUMENT_DB_NAME()))
            uncounted_.insert(numbers.begin(), numbers.end());
}

/// Whether a call on that file has failed in this life.
bool RecordTally::hasFailedOn(const std::string& name) const {
    return std::any_of(failedCalls_.begin(), failedCalls_.end(),
                       [&](const auto& call) { return call.find(name) != call.npos; });
}

void RecordTally::noteExtra(const DiskImage& disk) {
    if (failedCalls_.empty() && !hasLostPower_) return;
    // With one that a document carries go those that were merged into it, or passed over for it. It carries none that
    // the host's own push data took the place of; so any failure on the file has to do.
    const auto mayBeInDocument = [&](const std::string& file, const auto& numbers) {
        return hasFailedOn(file) ||
               std::any_of(numbers.begin(), numbers.end(), [&](auto number) { return inDocuments_.contains(number); });
    };
    for (const auto& [path, content] : disk.files) {
        const auto file = fileNameOf(path);
        const auto queue = queueNameOf(file);
        if (!queue) continue;
        const bool isBack = removedFiles_.contains(file);
        const auto numbers = isBack ? numbersIn(content.content) : unreadNumbersIn(content.content);
        if (isBack || cut_.contains(file) || mayBeInDocument(file, numbers)) extra_[queue->prefix] += numbers.size();
    }
    for (const auto& [file, numbers] : deleted_)
        if (hasFailedOn(file)) extra_[queueNameOf(file)->prefix] += numbers.size();
}

}  // namespace harvelstone::testing
