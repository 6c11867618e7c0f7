// A reader of the stored files that shares nothing with the library but the names of things.

#include "tests/simulation/StoredState.hpp"

#include <algorithm>

#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TrackType.hpp"

#include "tests/support/independent_json.hpp"
#include "tests/support/numbered_records.hpp"

namespace harvelstone::testing {

namespace {

constexpr std::string_view suffix = ".Harvelstone";

std::optional<std::int64_t> numberOf(const Dictionary& record) {
    for (const auto& [key, value] : record) {
        const bool isNumbered = key == "number" || (key.starts_with("g77") && key.size() == 9);
        if (isNumbered && value.isNumber()) return value.integerValue();
    }
    return std::nullopt;
}

bool hasContent(const Dictionary& document, const std::string& section) {
    const auto value = findValue(document, section);
    return value && ((value->list() && !value->list()->empty()) || value->dictionary());
}

}  // namespace

const std::map<std::string, std::string>& sectionsByQueue() {
    static const std::map<std::string, std::string> sections{
        {StaticValues::GOAL_FILE_PREFIX(), TrackType::TYPE_GOAL().typeValue()},
        {StaticValues::PAGES_FILE_PREFIX(), TrackType::TYPE_PAGES().typeValue()},
        {StaticValues::CLICK_FILE_PREFIX(), TrackType::TYPE_CLICK().typeValue()},
        {StaticValues::REVENUE_FILE_PREFIX(), TrackType::TYPE_REVENUE().typeValue()},
        {StaticValues::PUSH_FILE_PREFIX(), TrackType::TYPE_PUSH().typeValue()}};
    return sections;
}

std::optional<QueueName> queueNameOf(const std::string& fileName) {
    if (!fileName.ends_with(suffix)) return std::nullopt;
    for (const auto& prefix : queuePrefixes())
        if (fileName.starts_with(prefix))
            return QueueName{prefix, fileName.substr(prefix.size(), fileName.size() - prefix.size() - suffix.size())};
    return std::nullopt;
}

std::string fileNameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string storedPath(const std::string& fileName) {
    return std::string(documentsFolder) + "/harvelstone/" + fileName;
}

std::vector<std::int64_t> numbersIn(std::string_view text) {
    constexpr std::size_t digits = 8;
    std::vector<std::int64_t> numbers;
    for (auto at = text.find("77"); at != std::string_view::npos; at = text.find("77", at + 1)) {
        const auto candidate = text.substr(at, digits);
        const bool isWhole = candidate.size() == digits && candidate.find_first_not_of("0123456789") == candidate.npos;
        if (!isWhole) continue;
        const auto number = std::stoll(std::string(candidate));
        if (std::find(numbers.begin(), numbers.end(), number) == numbers.end()) numbers.push_back(number);
        at += digits - 1;
    }
    return numbers;
}

std::map<std::string, std::multiset<std::int64_t>> numbersOf(const Dictionary& document) {
    std::map<std::string, std::multiset<std::int64_t>> numbers;
    for (const auto& [queue, section] : sectionsByQueue()) {
        const auto value = findValue(document, section);
        const auto take = [&](const Dictionary& record) {
            if (const auto number = numberOf(record)) numbers[queue].insert(*number);
        };
        if (value && value->dictionary()) take(*value->dictionary());
        if (value && value->list())
            for (const auto& record : *value->list())
                if (record.dictionary()) take(*record.dictionary());
    }
    return numbers;
}

std::optional<Dictionary> mapOn(const DiskImage& disk, const std::string& name) {
    const auto path = storedPath(name + std::string(suffix));
    if (!disk.files.contains(path)) return std::nullopt;
    const auto value = independentlyParsed(disk.content(path));
    return value && value->dictionary() ? std::optional(*value->dictionary()) : std::nullopt;
}

std::vector<std::string> pendingOn(const DiskImage& disk) {
    std::vector<std::string> ids;
    const auto db = mapOn(disk, StaticValues::DOCUMENT_DB_NAME());
    const auto list = db ? findValue(*db, "DocumentTarget") : std::nullopt;
    if (!list || !list->list()) return ids;
    for (const auto& id : *list->list())
        if (id.string()) ids.push_back(*id.string());
    return ids;
}

StoredLedger ledgerOn(const DiskImage& disk) {
    StoredLedger ledger;
    const auto db = mapOn(disk, StaticValues::DOCUMENT_DB_NAME());
    const auto stored = db ? findValue(*db, "Ledger") : std::nullopt;
    if (!stored || !stored->dictionary()) return ledger;
    ledger.created = integerValue(findValue(*stored->dictionary(), "created"));
    const auto retired = findValue(*stored->dictionary(), "retired");
    if (retired && retired->dictionary())
        for (const auto& [fate, count] : *retired->dictionary()) ledger.retired[fate] = count.integerValue();
    return ledger;
}

WaitingDocument documentOn(const DiskImage& disk, const std::string& id) {
    WaitingDocument waiting;
    waiting.id = id;
    const auto document = mapOn(disk, id);
    const auto session =
        document ? findValue(*document, TrackType::TYPE_SESSION().typeValue()) : std::optional<Value>();
    waiting.hasSessionSection = session && session->dictionary();
    if (!waiting.hasSessionSection) return waiting;
    waiting.isSessionEmpty = session->dictionary()->empty();
    waiting.isNewVisit = findValue(*session->dictionary(), StaticValues::PARAM_VISIT_NEW()) == Value("Y");
    waiting.createTime = doubleValue(findValue(*session->dictionary(), StaticValues::CREATE_TIME()));
    if (const auto attempts = findValue(*document, StaticValues::RETRY_COUNT()))
        waiting.attempts = attempts->integerValue();
    for (const auto& [queue, section] : sectionsByQueue())
        waiting.hasConversionData = waiting.hasConversionData || hasContent(*document, section);
    return waiting;
}

}  // namespace harvelstone::testing
