#pragma once

#include <string>

#include "harvelstone/platform/Value.hpp"

#include "tools/player.hpp"
#include "tools/upload_ledger.hpp"

namespace harvelstone::tools {

/// What became of the documents of this run, and the run's counts, as they stand now: {"receipt": {"sent",
/// "stillStored", "dropped": {reason: n}}, "counts": {...}, "pending": [ids], "ledger": {...}}.
Dictionary replayReceipt(const PlayOutcome& outcome, const UploadLedger& ledger);

/// The same in a few lines for people.
std::string receiptText(const Dictionary& receipt);

}  // namespace harvelstone::tools
