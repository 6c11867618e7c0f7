// The ledger as a value, for tables and receipts. Pure functions, any thread.

#include "harvelstone/api/ledger_value.hpp"

#include <utility>

namespace harvelstone {

namespace {

Dictionary counts(const std::map<std::string, std::uint64_t>& byReason) { return {byReason.begin(), byReason.end()}; }

Dictionary recordsValue(const Ledger::Records& records) {
    return {{"recorded", records.recorded}, {"assembled", records.assembled},     {"pending", records.pending},
            {"sent", records.sent},         {"dropped", counts(records.dropped)}, {"damaged", records.damaged}};
}

}  // namespace

Dictionary ledgerValue(const Ledger& ledger) {
    const auto& documents = ledger.documents;
    Dictionary records;
    for (const auto& [kind, ofKind] : ledger.records)
        if (ofKind != Ledger::Records()) records.emplace(kind, recordsValue(ofKind));
    return {{"documents", Dictionary{{"created", documents.created},
                                     {"sent", documents.sent},
                                     {"retired", counts(documents.retired)},
                                     {"pending", documents.pending}}},
            {"records", std::move(records)}};
}

}  // namespace harvelstone
