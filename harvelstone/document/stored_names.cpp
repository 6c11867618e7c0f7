// The pending list and its account as the document DB map holds them (DOCUMENT_TARGET_NAME and "Ledger"), and what is
// done when that map could not be read at start-up. Writes nothing but the values it is given. Any thread.

#include <string>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

namespace {

/// The queues of a document have names, too; of their prefixes this one is the longest.
bool canNameDocument(const std::string& name) {
    return canBeStored(name) && StaticValues::CAMPAIGN_FILE_PREFIX().size() + name.size() <= longestStoredName;
}

/// What the map holds under DOCUMENT_TARGET_NAME, without what can name no document. Reads the list where it stands: it
/// may be long.
std::optional<std::vector<std::string>> documentNamesFrom(const Dictionary& db) {
    const auto stored = db.find(*DOCUMENT_TARGET_NAME);
    const List* list = stored == db.end() ? nullptr : stored->second.list();
    if (list == nullptr) return std::nullopt;
    std::vector<std::string> names;
    names.reserve(list->size());
    for (const auto& element : *list) {
        // Only a damaged or a foreign file holds anything but ids; what can name no document must not keep the others
        // from being sent.
        const auto* name = element.string();
        if (name && canNameDocument(*name)) names.push_back(*name);
    }
    return names;
}

void joinNames(Dictionary& put, const Dictionary& stored) {
    if (!stored.contains(*DOCUMENT_TARGET_NAME) && !stored.contains(ledgerKey)) return;
    const auto earlier = documentNamesIn(stored);
    const auto joined = documetNameList->update([&](const DocumentNames& names) { return names.behind(earlier); });
    put.insert_or_assign(*DOCUMENT_TARGET_NAME, joined->asList());
    put.insert_or_assign(std::string(ledgerKey), storedAccount(joined->account()));
}

}  // namespace

std::optional<std::vector<std::string>> storedDocumentNames(const NamedMap& db) {
    std::optional<std::vector<std::string>> names;
    db.read([&](const Dictionary& held) { names = documentNamesFrom(held); });
    return names;
}

DocumentNames documentNamesIn(const Dictionary& db) {
    auto names = documentNamesFrom(db).value_or(std::vector<std::string>());
    auto account = readStoredAccount(findValue(db, ledgerKey));
    return account ? DocumentNames(std::move(names), *account) : DocumentNames(std::move(names));
}

void joinDocumentDb(Dictionary& put, const Dictionary& stored) {
    joinNames(put, stored);
    const auto sum = [&](const std::string& key, auto add) {
        const auto before = findValue(stored, key);
        const auto since = findValue(put, key);
        if (before && since && before->isNumber() && since->isNumber()) put.insert_or_assign(key, add(*before, *since));
    };
    sum(StaticValues::PARAM_LTVT(),
        [](const Value& before, const Value& since) -> Value { return before.integerValue() + since.integerValue(); });
    sum(StaticValues::PARAM_LTVI(),
        [](const Value& before, const Value& since) -> Value { return before.doubleValue() + since.doubleValue(); });
}

}  // namespace harvelstone
