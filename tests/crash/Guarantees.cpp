// The guarantees about stored data, checked from outside: on the files as an independent reader finds them, on the
// uploads as the server gets them, and on what the app was told.

#include "tests/crash/Guarantees.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <vector>

#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TrackType.hpp"
#include "harvelstone/services/queue_scan.hpp"

#include "tests/crash/App.hpp"
#include "tests/support/independent_json.hpp"
#include "tests/support/numbered_records.hpp"

namespace harvelstone::testing {

namespace {

using What = Happening::What;

constexpr const char* pendingKey = "DocumentTarget";

std::string pathOf(const std::string& name) { return storedFolder + storedFileName(name); }

/// A map's values; absent when there is no file, a failure when the file is no map.
std::optional<Dictionary> mapOn(const DiskImage& disk, const std::string& name) {
    if (!disk.files.contains(pathOf(name))) return std::nullopt;
    const auto value = independentlyParsed(disk.content(pathOf(name)));
    if (value && value->dictionary()) return *value->dictionary();
    ADD_FAILURE() << name << " is no whole map: " << disk.content(pathOf(name));
    return std::nullopt;
}

Dictionary dictionaryIn(const Dictionary& map, const std::string& key) {
    const auto value = findValue(map, key);
    return value && value->dictionary() ? *value->dictionary() : Dictionary();
}

Dictionary sessionOf(const Dictionary& document) {
    return dictionaryIn(document, TrackType::TYPE_SESSION().typeValue());
}

std::int64_t visitsIn(const Dictionary& map) { return integerValue(findValue(map, StaticValues::PARAM_LTVT())); }

std::vector<std::string> pendingOn(const DiskImage& disk) {
    std::vector<std::string> ids;
    const auto db = mapOn(disk, StaticValues::DOCUMENT_DB_NAME());
    const auto list = db ? findValue(*db, pendingKey) : std::nullopt;
    if (!list) return ids;
    EXPECT_NE(list->list(), nullptr);
    for (const auto& id : *list->list()) ids.push_back(*id.string());
    return ids;
}

/// Where in the history each file was removed first, by name.
using Removals = std::map<std::string, std::size_t>;

void addRemovals(Removals& removals, HistoryView lives, std::size_t offset) {
    for (std::size_t at = 0; at < lives.size(); ++at) {
        const auto& step = lives[at].step;
        if (lives[at].what == What::step && step.kind == DiskStep::Kind::remove)
            removals.emplace(fileNameOf(step.path), offset + at);
    }
}

// ---- The number that a record bears ----

std::optional<int> asNumber(const std::optional<Value>& value) {
    return value && value->isNumber() ? std::optional(static_cast<int>(value->integerValue())) : std::nullopt;
}

std::optional<int> goalNumber(const Dictionary& record) {
    for (const auto& [key, value] : record)
        if (key.size() > 1 && key.front() == 'g' && key.find_first_not_of("0123456789", 1) == std::string::npos)
            return asNumber(value);
    return std::nullopt;
}

std::optional<int> numberOf(const std::string& queue, const Dictionary& record) {
    if (queue == StaticValues::GOAL_FILE_PREFIX()) return goalNumber(record);
    if (!goesIntoDocuments(queue)) return asNumber(findValue(record, StaticValues::PARAM_VALUE()));
    if (auto number = asNumber(findValue(record, "number"))) return number;
    const bool isProgress = !record.contains(StaticValues::PARAM_NAME());
    return isProgress ? asNumber(findValue(record, StaticValues::PARAM_VS())) : std::nullopt;
}

const std::string& sectionOf(const std::string& queue) {
    static const std::map<std::string, const TypeConstant*> types{
        {StaticValues::GOAL_FILE_PREFIX(), &TrackType::TYPE_GOAL()},
        {StaticValues::PAGES_FILE_PREFIX(), &TrackType::TYPE_PAGES()},
        {StaticValues::CLICK_FILE_PREFIX(), &TrackType::TYPE_CLICK()},
        {StaticValues::REVENUE_FILE_PREFIX(), &TrackType::TYPE_REVENUE()},
        {StaticValues::PUSH_FILE_PREFIX(), &TrackType::TYPE_PUSH()}};
    return types.at(queue)->typeValue();
}

using Numbers = std::multiset<int>;

void addNumber(Numbers& numbers, const std::string& queue, const Dictionary& record) {
    if (const auto number = numberOf(queue, record)) numbers.insert(*number);
}

/// The numbers of all records of a kind in a document.
Numbers numbersIn(const Dictionary& document, const std::string& queue) {
    Numbers numbers;
    const auto section = findValue(document, sectionOf(queue));
    if (section && section->dictionary()) addNumber(numbers, queue, *section->dictionary());
    if (section && section->list())
        for (const auto& record : *section->list()) addNumber(numbers, queue, *record.dictionary());
    return numbers;
}

Numbers numbersQueued(const DiskImage& disk, const std::string& queue, const std::string& document) {
    Numbers numbers;
    const auto content = disk.content(pathOf(queue + document));
    for (const auto& record : readQueueContents(std::as_bytes(std::span(content))).unread)
        addNumber(numbers, queue, record);
    return numbers;
}

// ---- The account ----

struct Record {
    int number = 0;
    std::string queue;
    std::optional<std::size_t> acknowledgedAt = std::nullopt;  // its place in the history
    std::string document = {};
};

struct Retirement {
    std::string fate;
    std::size_t at = 0;
};

struct Upload {
    const Dictionary* document;
    std::size_t at = 0;
};

/// What of a document counts here.
struct Document {
    Dictionary session;
    std::map<std::string, Numbers> numbers;  // by queue
};

class Account {
  public:
    Account(HistoryView before, HistoryView after, const DiskImage& end) : Account(before.size(), before, after, end) {}

    /// Of what happened from `unsettled` to the end of `before` nothing is promised.
    Account(std::size_t unsettled, HistoryView before, HistoryView after, const DiskImage& end)
        : end_(end), unsettledBegin_(unsettled), unsettledEnd_(before.size()) {
        addRemovals(removals_, before, 0);
        addRemovals(removals_, after, before.size());
        for (std::size_t at = 0; at < before.size(); ++at) take(before[at], at);
        const auto head = headOf(before);
        for (std::size_t at = 0; at < after.size(); ++at) take(after[at], before.size() + at);
        for (const auto& id : pendingOn(end)) {
            pending_.insert(id);
            if (auto document = mapOn(end_, id)) know(id, *document);
        }
        for (const auto& [id, uploads] : uploads_) know(id, *uploads.front().document);
        // It left the stored list a moment before the app could be told.
        if (!head.empty() && !pending_.contains(head) && !retired_.contains(head))
            retired_.emplace(head, Retirement{.fate = "unknown", .at = before.size()});
    }

    /// The account on disk knows every document, too.
    void expectLedgerBalanced() const {
        const auto db = mapOn(end_, StaticValues::DOCUMENT_DB_NAME());
        const auto ledger = db ? dictionaryIn(*db, "Ledger") : Dictionary();
        std::int64_t retired = 0;
        for (const auto& [fate, count] : dictionaryIn(ledger, "retired")) retired += count.integerValue();
        EXPECT_EQ(integerValue(findValue(ledger, "created")), retired + static_cast<std::int64_t>(pending_.size()));
        if (unsettledBegin_ < unsettledEnd_) return;
        EXPECT_GE(retired, static_cast<std::int64_t>(retired_.size()));
        EXPECT_GE(retired + static_cast<std::int64_t>(pending_.size()), static_cast<std::int64_t>(created_.size()));
    }

    void expectDocumentsAccountedFor() const {
        for (const auto& [id, at] : created_)
            EXPECT_TRUE(!isSettled(at) || pending_.contains(id) || retired_.contains(id))
                << "document " << id << " is lost";
        for (const auto& id : withoutSession_) EXPECT_TRUE(wasPruned(id, id)) << "the session of " << id << " is lost";
        for (const auto& [id, retirement] : retired_)
            EXPECT_TRUE(retirement.fate != "sent" || uploads_.contains(id)) << id << " was never sent";
    }

    void expectUploadsAlike() const {
        for (const auto& [id, uploads] : uploads_) {
            std::int64_t attempts = 0;
            const Upload* first = nullptr;
            for (const auto& upload : uploads) {
                if (!isSettled(upload.at)) continue;
                if (first == nullptr) first = &upload;
                const auto counted = integerValue(findValue(*upload.document, StaticValues::RETRY_COUNT()));
                EXPECT_GT(counted, attempts) << id << " was sent without being counted";
                attempts = counted;
                expectSameRecords(id, upload, *first);
            }
            EXPECT_LE(attempts, 3) << id;
        }
    }

    void expectVisitsNumbered(VisitNumbers numbers) const {
        std::map<std::int64_t, std::string> idByNumber;
        std::int64_t highest = 0;
        for (const auto& [id, document] : documents_) {
            const auto& session = document.session;
            if (session.empty()) continue;
            highest = std::max(highest, visitsIn(session));
            if (findValue(session, StaticValues::PARAM_VISIT_NEW()) != Value("Y")) continue;
            const auto [other, isFirst] = idByNumber.emplace(visitsIn(session), id);
            EXPECT_TRUE(isFirst || numbers == VisitNumbers::mayRepeat)
                << id << " has the visit number of " << other->second;
        }
        const auto db = mapOn(end_, StaticValues::DOCUMENT_DB_NAME());
        EXPECT_GE(db ? visitsIn(*db) : 0, highest);
    }

    void expectVisitsBegun() const {
        std::set<std::string> ids;
        for (const auto& [id, at] : created_) ids.insert(id);
        for (const auto& [id, document] : documents_) ids.insert(id);
        for (const auto& [id, document] : documents_) {
            if (findValue(document.session, StaticValues::PARAM_VISIT_NEW()) != Value("N")) continue;
            const auto first = ids.lower_bound(id.substr(0, id.find('_')));
            EXPECT_LT(*first, id) << id << " continues a visit that never began";
        }
    }

    void expectRecordsAccountedFor(std::size_t from) const {
        for (const auto& [number, record] : records_) {
            const auto places = documentsWith(record);
            EXPECT_LE(places.size(), 1U) << text(record) << " is in several documents";
            if (!record.acknowledgedAt || *record.acknowledgedAt < from) continue;
            for (const auto& id : places) EXPECT_EQ(id, record.document) << text(record) << " went astray";
            const auto fate = fateOf(record, !places.empty());
            EXPECT_TRUE(!fate.empty() || !isSettled(*record.acknowledgedAt)) << text(record) << " is lost";
        }
    }

  private:
    bool isSettled(std::size_t at) const { return at < unsettledBegin_ || at >= unsettledEnd_; }

    /// The oldest document that waits.
    static std::string headOf(HistoryView lives) {
        std::vector<std::string> waiting;
        for (const auto& one : lives) {
            if (one.what == What::created) waiting.push_back(one.document);
            if (one.what == What::retired) std::erase(waiting, one.document);
        }
        return waiting.empty() ? "" : waiting.front();
    }

    static void expectSameRecords(const std::string& id, const Upload& upload, const Upload& first) {
        for (const auto& queue : queuePrefixes()) {
            if (!goesIntoDocuments(queue)) continue;
            EXPECT_EQ(numbersIn(*upload.document, queue), numbersIn(*first.document, queue))
                << id << " was sent again with other records of " << queue;
        }
    }

    void take(const Happening& one, std::size_t at) {
        if (one.what == What::created) created_.emplace(one.document, at);
        if (one.what == What::retired && one.text == "session_missing") withoutSession_.insert(one.document);
        if (one.what == What::retired) retired_.emplace(one.document, Retirement{.fate = one.text, .at = at});
        if (one.what == What::recording) records_[one.number] = {.number = one.number, .queue = one.queue};
        if (one.what == What::recorded) {
            records_[one.number].acknowledgedAt = at;
            records_[one.number].document = one.document;
        }
        if (one.what != What::uploaded) return;
        uploads_[idOf(one.content)].push_back({.document = &one.content, .at = at});
    }

    static std::string idOf(const Dictionary& document) {
        const auto session = sessionOf(document);
        return fmt::format("{}_{:.6f}", *findValue(session, StaticValues::PARAM_SID())->string(),
                           doubleValue(findValue(session, StaticValues::CREATE_TIME())));
    }

    static std::string text(const Record& record) {
        return fmt::format("record {} of {}{}", record.number, record.queue, record.document);
    }

    /// Whether the file was removed while the document waited: only pruning does that.
    bool wasPruned(const std::string& name, const std::string& document) const {
        const auto removal = removals_.find(storedFileName(name));
        const auto retirement = retired_.find(document);
        if (removal == removals_.end()) return false;
        return retirement == retired_.end() || removal->second < retirement->second.at;
    }

    void know(const std::string& id, const Dictionary& document) {
        auto& known = documents_[id];
        known.session = sessionOf(document);
        for (const auto& queue : queuePrefixes())
            if (goesIntoDocuments(queue)) known.numbers[queue] = numbersIn(document, queue);
    }

    /// The documents whose content holds the record, uploaded or waiting.
    std::set<std::string> documentsWith(const Record& record) const {
        std::set<std::string> ids;
        if (!goesIntoDocuments(record.queue)) return ids;
        for (const auto& [id, document] : documents_) {
            const auto count = document.numbers.at(record.queue).count(record.number);
            EXPECT_LE(count, 1U) << text(record) << " is " << count << " times in " << id;
            if (count > 0) ids.insert(id);
        }
        return ids;
    }

    /// What has become of an acknowledged record; "" when nobody knows.
    std::string fateOf(const Record& record, bool isInDocument) const {
        const auto& [number, queue, acknowledgedAt, id] = record;
        if (isInDocument) return "in its document";
        const auto queued = numbersQueued(end_, queue, id).count(number);
        EXPECT_LE(queued, 1U) << text(record) << " is queued " << queued << " times";
        if (queued == 1) return "queued";
        if (wasPruned(queue + id, id)) return "pruned";
        if (!goesIntoDocuments(queue)) return removals_.contains(storedFileName(queue + id)) ? "pruned" : "";
        const bool wasLate = uploads_.contains(id) && uploads_.at(id).front().at < *acknowledgedAt;
        if (wasLate && retired_.contains(id)) return "came after the first upload";
        if (isLaterPush(record)) return "one push a document";
        const auto fate = retired_.find(id);
        if (fate == retired_.end() || uploads_.contains(id)) return "";
        return "dropped with its document: " + fate->second.fate;
    }

    /// Whether a push was recorded before this one into the same document.
    bool isLaterPush(const Record& push) const {
        if (push.queue != StaticValues::PUSH_FILE_PREFIX()) return false;
        return std::any_of(records_.begin(), records_.end(), [&](const auto& entry) {
            const auto& other = entry.second;
            return other.queue == push.queue && other.number < push.number &&
                   (!other.acknowledgedAt || other.document == push.document);
        });
    }

    const DiskImage& end_;
    Removals removals_;
    std::size_t unsettledBegin_;
    std::size_t unsettledEnd_;
    std::map<std::string, std::size_t> created_;
    std::set<std::string> pending_;
    std::map<std::string, Retirement> retired_;  // the first of each
    std::set<std::string> withoutSession_;       // those retired for it
    std::map<int, Record> records_;
    std::map<std::string, std::vector<Upload>> uploads_;
    std::map<std::string, Document> documents_;  // uploaded or pending
};

}  // namespace

std::string fileNameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

void expectSoundFiles(const DiskImage& disk, HistoryView before, VisitNumbers numbers) {
    for (const auto& name :
         {"DocumentDB", "current_profile_file", "current_config_file", "BS_SESSION_MAP", "BS_SESSION", "postbackDB"})
        mapOn(disk, name);
    const auto ids = pendingOn(disk);
    Removals removed;
    addRemovals(removed, before, 0);
    for (const auto& id : ids) {
        const auto document = mapOn(disk, id);
        const bool hasSession = document && !sessionOf(*document).empty();
        EXPECT_TRUE(hasSession || removed.contains(storedFileName(id))) << id << " is listed without its session";
        if (!hasSession || id != ids.back()) continue;
        const auto db = mapOn(disk, StaticValues::DOCUMENT_DB_NAME());
        const auto counted = visitsIn(*db);
        const auto ofNewest = visitsIn(sessionOf(*document));
        EXPECT_TRUE(counted == ofNewest || (counted > ofNewest && numbers == VisitNumbers::mayRepeat))
            << "the visit counter is not that of " << id;
    }
}

void expectFullAccount(HistoryView before, HistoryView after, const DiskImage& end, VisitNumbers numbers) {
    const Account account(before, after, end);
    account.expectRecordsAccountedFor(/*from=*/0);
    account.expectDocumentsAccountedFor();
    account.expectUploadsAlike();
    account.expectLedgerBalanced();
    account.expectVisitsNumbered(numbers);
    account.expectVisitsBegun();
}

void expectAccountBut(std::size_t unsettled, HistoryView before, HistoryView after, const DiskImage& end) {
    const Account account(unsettled, before, after, end);
    account.expectRecordsAccountedFor(/*from=*/0);
    account.expectDocumentsAccountedFor();
    account.expectUploadsAlike();
    account.expectLedgerBalanced();
}

void expectAccountOfLatestLife(HistoryView before, HistoryView after, const DiskImage& end) {
    const Account account(before, after, end);
    account.expectRecordsAccountedFor(before.size());
}

}  // namespace harvelstone::testing
