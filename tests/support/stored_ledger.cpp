#include "tests/support/stored_ledger.hpp"

#include <gtest/gtest.h>
#include <optional>
#include <span>

#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/document/current_ledger.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"

#include "tests/support/independent_json.hpp"

namespace harvelstone::testing {

Ledger ledgerOf(const std::map<std::string, std::string>& files) {
    const auto db = files.find(storedFileName(StaticValues::DOCUMENT_DB_NAME()));
    const auto stored = db == files.end() ? std::optional<Value>() : independentlyParsed(db->second);
    const auto names = documentNamesIn(stored && stored->dictionary() ? *stored->dictionary() : Dictionary());
    std::map<std::string, QueueCounts> queues;
    for (const auto& [file, content] : files)
        if (queueOwner(storedName(file)) && corruptFileOwner(file).empty())
            queues.emplace(storedName(file), readQueueContents(std::as_bytes(std::span(content))).counts);
    return makeLedger(names.account(), names.asVector(), queues);
}

void expectBalanced(const Ledger& ledger) {
    EXPECT_TRUE(ledger.balances());
    for (const auto& [kind, records] : ledger.records) {
        EXPECT_LE(records.sent, records.assembled) << kind;
        EXPECT_LE(records.assembled, records.recorded) << kind;
    }
}

}  // namespace harvelstone::testing
