// The settled part of the ledger, to and from its form in the document DB map. Pure functions, any thread.

#include "harvelstone/document/DocumentAccount.hpp"

#include <algorithm>
#include <string>

namespace harvelstone {

namespace {

std::uint64_t readCount(const Dictionary& counts, std::string_view key) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(0, integerValue(findValue(counts, key))));
}

Dictionary readDictionary(const Dictionary& values, std::string_view key) {
    const auto value = findValue(values, key);
    return value && value->dictionary() ? *value->dictionary() : Dictionary();
}

}  // namespace

DocumentAccount& DocumentAccount::operator+=(const DocumentAccount& other) {
    created += other.created;
    for (std::size_t i = 0; i < fateCount; ++i) retired.byFate[i] += other.retired.byFate[i];
    return *this;
}

Dictionary storedAccount(const DocumentAccount& account) {
    Dictionary retired;
    for (std::size_t i = 0; i < fateCount; ++i)
        if (const auto count = account.retired.byFate[i]; count != 0)
            retired.emplace(fateName(static_cast<Fate>(i)), count);
    return {{"created", account.created}, {"retired", std::move(retired)}};
}

std::optional<DocumentAccount> readStoredAccount(const std::optional<Value>& stored) {
    const Dictionary* values = stored ? stored->dictionary() : nullptr;
    if (values == nullptr) return std::nullopt;
    DocumentAccount account;
    account.created = readCount(*values, "created");
    const auto retired = readDictionary(*values, "retired");
    for (std::size_t i = 0; i < fateCount; ++i)
        account.retired.byFate[i] = readCount(retired, fateName(static_cast<Fate>(i)));
    return account;
}

}  // namespace harvelstone
