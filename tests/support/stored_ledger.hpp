#pragma once

#include <map>
#include <string>

#include "harvelstone/document/Ledger.hpp"

namespace harvelstone::testing {

/// The ledger that a process finds which starts over these files of a storage folder, contents by name. By the
/// library's own rules, but of none of its state.
Ledger ledgerOf(const std::map<std::string, std::string>& files);

/// Its equations, and of each kind: sent is at most assembled, that at most recorded.
void expectBalanced(const Ledger& ledger);

}  // namespace harvelstone::testing
