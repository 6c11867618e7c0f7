// Where each record and each document has gone, from the facts of all lives and the files at the end.

#include "tests/simulation/account.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <set>
#include <span>

#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/queue_scan.hpp"

#include "tests/simulation/RecordTally.hpp"
#include "tests/simulation/StoredState.hpp"
#include "tests/support/independent_json.hpp"

namespace harvelstone::testing {

namespace {

using What = Fact::What;

struct Record {
    std::string queue;
    std::optional<std::size_t> acknowledgedAt;     // the place of the fact
    std::map<std::string, std::size_t> writtenAt;  // by document
    bool metFailure = false;                       // the disk failed in its life before it was acknowledged
};

struct Document {
    std::optional<std::size_t> firstVisit;
    std::set<std::string> fates;
    std::string lastFate;  // "" where a crash came before it was told
    bool isGone = false;
    bool isSettled = false;  // the operation that retired it has returned
    std::vector<std::map<std::string, std::multiset<std::int64_t>>> contents;  // uploads, and the map at the end
};

class Account {
  public:
    Account(const Facts& facts, const DiskImage& end) : end_(end) {
        for (std::size_t at = 0; at < facts.size(); ++at) take(facts[at], at);
        for (const auto& id : pendingOn(end)) {
            documents_[id].isGone = false;
            if (const auto map = mapOn(end, id)) documents_[id].contents.push_back(numbersOf(*map));
        }
    }

    std::vector<std::string> violations(const Ledger& ledger) {
        for (const auto& [number, record] : records_) judge(number, record);
        for (const auto& [id, document] : documents_) judge(id, document);
        judgeStoredLedger();
        judgeRecords(ledger);
        return violations_;
    }

  private:
    void take(const Fact& fact, std::size_t at) {
        switch (fact.what) {
            case What::began:
                hasFailed_ = false;
                break;
            case What::faulted:
                hasFailed_ = hasEverFailed_ = true;
                break;
            case What::recording:
                records_[fact.number].queue = fact.text;
                break;
            case What::written:
                if (const auto queue = queueNameOf(fact.text))
                    records_[fact.number].writtenAt.try_emplace(queue->document, at);
                break;
            case What::recorded:
                records_[fact.number].acknowledgedAt = at;
                records_[fact.number].metFailure = hasFailed_;
                break;
            case What::left:
                documents_[fact.id].isGone = true;
                documents_[fact.id].lastFate.clear();
                break;
            case What::retired:
                documents_[fact.id].fates.insert(fact.text);
                documents_[fact.id].lastFate = fact.text;
                break;
            case What::settled:
                documents_[fact.id].isSettled = fact.number == 0;
                break;
            case What::visited:
                if (!documents_[fact.id].firstVisit) documents_[fact.id].firstVisit = at;
                break;
            case What::uploaded:
                documents_[fact.id].contents.push_back(numbersOf(*independentlyParsed(fact.text)->dictionary()));
                break;
            case What::removed:
                removed_.insert(fact.text);
                break;
            default:
                break;
        }
    }

    void judge(std::int64_t number, const Record& record) {
        std::vector<std::string> places;
        for (const auto& [id, document] : documents_)
            if (isIn(document, record.queue, number)) places.push_back(id);
        if (places.size() > 1)
            violations_.push_back(fmt::format("record {} is in {} documents", number, places.size()));
        if (!record.acknowledgedAt || !places.empty() || record.metFailure) return;
        if (record.writtenAt.empty())
            return violations_.push_back(fmt::format("record {} was acknowledged and not written", number));
        const auto& [id, writtenAt] = *record.writtenAt.begin();
        if (!isDropped(number, record, id, writtenAt) && !isQueued(number, record.queue, id))
            violations_.push_back(fmt::format("record {} of {}{} is lost", number, record.queue, id));
    }

    static bool isIn(const Document& document, const std::string& queue, std::int64_t number) {
        return std::any_of(document.contents.begin(), document.contents.end(), [&](const auto& content) {
            const auto numbers = content.find(queue);
            return numbers != content.end() && numbers->second.contains(number);
        });
    }

    bool isQueued(std::int64_t number, const std::string& queue, const std::string& id) const {
        const auto content = end_.content(storedPath(queue + id + ".Harvelstone"));
        const auto numbers = numbersIn(content);
        if (std::find(numbers.begin(), numbers.end(), number) == numbers.end()) return false;
        for (const auto& record : readQueueContents(std::as_bytes(std::span(content))).unread)
            for (const auto& [key, value] : record)
                if (value.isNumber() && value.integerValue() == number) return true;
        return false;
    }

    bool isDropped(std::int64_t number, const Record& record, const std::string& id, std::size_t writtenAt) const {
        const bool isQueueRemoved = removed_.contains(record.queue + id + ".Harvelstone");
        if (!sectionsByQueue().contains(record.queue)) return isQueueRemoved;
        const auto found = documents_.find(id);
        if (found == documents_.end()) return false;
        const auto& document = found->second;
        const bool wasLate = document.firstVisit && writtenAt > *document.firstVisit;
        if (isQueueRemoved && (wasLate || !document.isGone)) return true;  // for its age, or with its document
        if (isPushSurplus(number, record, id)) return true;
        // Whatever it held went with it, as long as it was not sent: then it should have been sent, too.
        const bool wasUploaded = !document.contents.empty();
        return document.isGone && (!wasUploaded || wasLate || isQueueRemoved);
    }

    /// A document carries one push, or the host's own push data.
    bool isPushSurplus(std::int64_t number, const Record& record, const std::string& id) const {
        if (record.queue != StaticValues::PUSH_FILE_PREFIX()) return false;
        const auto& contents = documents_.at(id).contents;
        return !contents.empty() || std::any_of(records_.begin(), records_.end(), [&](const auto& entry) {
            return entry.first != number && entry.second.queue == record.queue && entry.second.writtenAt.contains(id);
        });
    }

    void judge(const std::string& id, const Document& document) {
        const bool wasSent = document.fates.contains("sent") || document.fates.contains("transport_failed");
        if (wasSent && document.contents.empty()) violations_.push_back(id + " is said to be sent, but was not");
    }

    /// The stored account of documents: whole in itself, and no other than what was seen. A retirement that a crash
    /// undid is not in it, and comes again.
    void judgeStoredLedger() {
        const auto ledger = ledgerOn(end_);
        std::int64_t settled = static_cast<std::int64_t>(pendingOn(end_).size());
        for (const auto& [fate, count] : ledger.retired) settled += count;
        if (ledger.created != settled)
            violations_.push_back(fmt::format("{} documents were created by the ledger, and {} are retired or pending",
                                              ledger.created, settled));
        if (hasEverFailed_) return;  // it holds what could be written
        struct Count {
            std::int64_t least = 0, most = 0, inLedger = 0;
        };
        std::map<std::string, Count> counts;
        std::int64_t untold = 0;
        for (const auto& [id, document] : documents_) {
            if (!document.isGone) continue;
            if (document.lastFate.empty()) {
                ++untold;
                continue;
            }
            ++counts[document.lastFate].most;
            if (document.isSettled) ++counts[document.lastFate].least;
        }
        for (const auto& [fate, count] : ledger.retired) counts[fate].inLedger = count;
        for (const auto& [fate, count] : counts)
            if (count.inLedger < count.least || count.inLedger > count.most + untold)
                violations_.push_back(fmt::format("the ledger counts {} documents as {}; from {} to {} were seen",
                                                  count.inLedger, fate, count.least, count.most + untold));
    }

    /// What the component says is what its files say, too, now that nothing is under way. Whether that is what the host
    /// has recorded is told after each life.
    void judgeRecords(const Ledger& ledger) {
        if (!ledger.balances()) violations_.push_back("the ledger does not balance");
        if (ledger != ledgerFoundOn(end_)) violations_.push_back("the ledger is another than that on the disk");
    }

    const DiskImage& end_;
    std::map<std::int64_t, Record> records_;
    std::map<std::string, Document> documents_;
    std::set<std::string> removed_;
    bool hasFailed_ = false;  // in the life at hand
    bool hasEverFailed_ = false;
    std::vector<std::string> violations_;
};

}  // namespace

std::vector<std::string> accountViolations(const Facts& facts, const DiskImage& end, const Ledger& ledger) {
    return Account(facts, end).violations(ledger);
}

}  // namespace harvelstone::testing
