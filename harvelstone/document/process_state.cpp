// The component's process-wide variables and the pending list's own operations. Nothing here reads or writes a store
// but `storeDocumentNames`, which puts the list and its account into the document DB map under DOCUMENT_TARGET_NAME and
// "Ledger". Any thread.

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <iterator>
#include <string>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/Exception.hpp"

namespace harvelstone {

constinit std::atomic<double> sendStartTimestamp{0};
constinit std::atomic<std::int64_t> sendRcount{0};
constinit std::atomic<bool> sendLock{false};
constinit SessionManager* sessionManager = nullptr;
constinit ProfileManager* profiler = nullptr;
constinit platform::PerProcess<std::shared_ptr<NamedMap>> documentDB;
// Has its text from the beginning: not every compiler makes a string before the host's own initialisers run, and one
// made empty after start-up would lose the list.
platform::NeverDestroyed<std::string> DOCUMENT_TARGET_NAME("DocumentTarget");
constinit platform::PerProcess<platform::Snapshot<DocumentNames>> documetNameList;
constinit platform::PerProcess<platform::Snapshot<std::shared_ptr<NamedMap>>> currentDocument;
constinit std::atomic<std::int64_t> MAX_LEFE_TIME_JSONFILE{3};
constinit std::atomic<std::int64_t> MAX_RETRY_COUNT_FOR_SENDDOCUMENT{3};

DocumentNames::DocumentNames(std::vector<std::string> names) : DocumentNames(std::move(names), DocumentAccount()) {
    account_.created = size();
}

DocumentNames::DocumentNames(std::vector<std::string> names, DocumentAccount account)
    : names_(std::make_shared<const std::vector<std::string>>(std::move(names))), account_(std::move(account)) {}

const std::string& DocumentNames::at(std::size_t index) const {
    if (index >= size())
        throw platform::RangeException(
            fmt::format("index {} is outside the pending list, which holds {} documents", index, size()));
    return (*names_)[first_ + index];
}

DocumentNames DocumentNames::withAppended(std::string name) const {
    std::vector<std::string> names;
    names.reserve(size() + 1);
    names.assign(names_->begin() + static_cast<std::ptrdiff_t>(first_), names_->end());
    names.push_back(std::move(name));
    auto account = account_;
    ++account.created;
    return {std::move(names), std::move(account)};
}

DocumentNames DocumentNames::withAdopted(const DocumentNames& childs, const std::string& folder) const {
    if (account_.adoptedFolders.contains(folder)) return *this;
    auto names = asVector();
    for (std::size_t i = 0; i < childs.size(); ++i) names.push_back(childs.at(i));
    auto account = account_;
    account += childs.account_;
    account.adoptedFolders.insert(folder);
    return {std::move(names), std::move(account)};
}

DocumentNames DocumentNames::withAdoptedFolders(std::set<std::string> folders) const {
    auto account = account_;
    account.adoptedFolders = std::move(folders);
    return withAccount(std::move(account));
}

bool DocumentNames::contains(const std::string& name) const {
    return std::find(names_->begin() + static_cast<std::ptrdiff_t>(first_), names_->end(), name) != names_->end();
}

DocumentNames DocumentNames::withoutFirst(Fate fate, const RecordCounts& earlier) const {
    if (empty()) throw platform::RangeException("there is no first document in an empty pending list");
    DocumentNames rest = *this;
    ++rest.first_;
    ++rest.account_.retired[fate];
    rest.account_.settleDocument(at(0), fate, earlier);
    return rest;
}

DocumentNames DocumentNames::withAssembled(const std::string& documentId, const RecordCounts& counts) const {
    auto account = account_;
    const bool isPending = contains(documentId);
    if (isPending) account.beingFilled.insert(documentId);
    for (const auto& [kind, count] : counts) {
        if (isPending)
            account.assembled[documentId][kind] += count;
        else
            account.settleAssembled(kind, count, Fate::otherAnswered);
    }
    return withAccount(std::move(account));
}

DocumentNames DocumentNames::withQueuesConsumed(const std::string& documentId) const {
    auto account = account_;
    account.beingFilled.erase(documentId);
    return withAccount(std::move(account));
}

DocumentNames DocumentNames::withAccount(DocumentAccount account) const {
    DocumentNames changed = *this;
    changed.account_ = std::move(account);
    return changed;
}

std::vector<std::string> DocumentNames::asVector() const {
    return {names_->begin() + static_cast<std::ptrdiff_t>(first_), names_->end()};
}

List DocumentNames::asList() const {
    List list;
    list.reserve(size());
    for (std::size_t i = 0; i < size(); ++i) list.emplace_back(at(i));
    return list;
}

DocumentNames DocumentNames::behind(const DocumentNames& earlier) const {
    std::vector<std::string> names;
    names.reserve(earlier.size() + size());
    for (std::size_t i = 0; i < earlier.size(); ++i) names.push_back(earlier.at(i));
    for (std::size_t i = 0; i < size(); ++i) names.push_back(at(i));
    auto account = earlier.account_;
    account += account_;
    return {std::move(names), std::move(account)};
}

namespace {

/// Makes the value a list of the names. Those that stand in it already stay, because it may be long, and mostly its
/// head has gone or a name comes behind its last. What raises does so before anything is changed.
void putNames(Value& stored, const DocumentNames& names) {
    if (stored.list() == nullptr) stored = List();
    auto& list = *stored.list();
    const auto holds = [&](std::size_t place, std::size_t index) {
        const auto* name = place < list.size() && index < names.size() ? list[place].string() : nullptr;
        return name != nullptr && *name == names.at(index);
    };
    std::size_t first = 0;
    while (first < list.size() && !holds(first, 0)) ++first;
    std::size_t kept = 0;
    while (holds(first + kept, kept)) ++kept;
    List rest;
    for (auto i = kept; i < names.size(); ++i) rest.emplace_back(names.at(i));
    list.reserve(names.size());

    list.erase(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(first));
    list.resize(kept);
    std::move(rest.begin(), rest.end(), std::back_inserter(list));
}

}  // namespace

void storeDocumentNames() {
    (*documentDB)->load();  // a list of earlier lives that can only be read now comes into this one first
    auto stored = documetNameList->load();
    for (;;) {
        const auto& names = stored ? *stored : DocumentNames();
        auto account = storedAccount(names.account());
        (*documentDB)->change([&](Dictionary& held) {
            auto& list = held[*DOCUMENT_TARGET_NAME];
            auto& ledger = held[std::string(ledgerKey)];
            putNames(list, names);
            ledger = std::move(account);
        });
        auto now = documetNameList->load();
        if (now == stored) return;
        stored = std::move(now);
    }
}

}  // namespace harvelstone
