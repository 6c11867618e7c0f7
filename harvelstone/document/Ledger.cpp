// The equations of a ledger. Pure functions, any thread.

#include "harvelstone/document/Ledger.hpp"

#include <algorithm>
#include <numeric>

namespace harvelstone {

namespace {

std::uint64_t sum(const std::map<std::string, std::uint64_t>& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0},
                           [](std::uint64_t total, const auto& count) { return total + count.second; });
}

}  // namespace

bool Ledger::balances() const {
    return documents.created == documents.sent + sum(documents.retired) + documents.pending &&
           std::all_of(records.begin(), records.end(), [](const auto& entry) {
               const auto& kind = entry.second;
               return kind.recorded == kind.sent + sum(kind.dropped) + kind.pending + kind.damaged;
           });
}

}  // namespace harvelstone
