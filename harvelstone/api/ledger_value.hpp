#pragma once

#include "harvelstone/document/Ledger.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// The ledger as it is printed: {"documents": {"created", "sent", "retired", "pending"}, "records": {kind: {...}}}, of
/// records those kinds alone that occurred.
Dictionary ledgerValue(const Ledger& ledger);

}  // namespace harvelstone
