#pragma once

#include "harvelstone/document/Ledger.hpp"

namespace harvelstone {

/// The ledger as it stands now, of the storage folder that this process uses. Made after start-up only: before it, what
/// earlier lives counted is not known yet. Any thread.
Ledger currentLedger();

}  // namespace harvelstone
