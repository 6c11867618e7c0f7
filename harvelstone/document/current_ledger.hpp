#pragma once

#include <map>
#include <string>
#include <vector>

#include "harvelstone/document/DocumentAccount.hpp"
#include "harvelstone/document/Ledger.hpp"

namespace harvelstone {

/// The ledger of an account, of its pending list, and of the queues that are stored, by name.
Ledger makeLedger(DocumentAccount account, const std::vector<std::string>& pending,
                  const std::map<std::string, QueueCounts>& queues);

/// The ledger as it stands now, of the storage folder that this process uses. Made after start-up only: before it, what
/// earlier lives counted is not known yet. A queue file that cannot be read is left out. Any thread.
Ledger currentLedger();

}  // namespace harvelstone
