// The ledger of this process: what the pending list's account has settled and what the stored queues still hold.
// Changes nothing. Any thread.

#include "harvelstone/document/current_ledger.hpp"

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/RecordKind.hpp"

namespace harvelstone {

Ledger currentLedger() {
    const auto names = documetNameList->load();
    const auto& account = names->account();
    Ledger ledger;
    ledger.documents = {.created = account.created,
                        .sent = account.retired[Fate::sent],
                        .retired = account.retired.dropped(),
                        .pending = names->size()};
    for (const auto kind : allRecordKinds) ledger.records.emplace(recordKindName(kind), Ledger::Records());
    return ledger;
}

}  // namespace harvelstone
