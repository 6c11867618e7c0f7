// The receipt of a run.

#include "tools/receipt.hpp"

#include <algorithm>
#include <fmt/format.h>

#include "harvelstone/api/ledger_value.hpp"
#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/Fate.hpp"
#include "harvelstone/document/current_ledger.hpp"

namespace harvelstone::tools {

namespace {

List pendingIds() {
    const auto names = documetNameList->load();
    return names ? names->asList() : List();
}

Dictionary dropped() {
    const auto byReason = fateCounts().dropped();
    return {byReason.begin(), byReason.end()};
}

Dictionary uploadCounts(const std::vector<Upload>& uploads) {
    const auto count = [&](UploadSort sort) {
        return std::count_if(uploads.begin(), uploads.end(), [&](const auto& upload) { return upload.sort == sort; });
    };
    return {{"uploads", uploads.size()},
            {"documentUploads", count(UploadSort::document)},
            {"clickUploads", count(UploadSort::click)},
            {"goalUploads", count(UploadSort::goal)}};
}

}  // namespace

Dictionary replayReceipt(const PlayOutcome& outcome, const UploadLedger& ledger) {
    auto pending = pendingIds();
    Dictionary receipt{{"sent", fateCounts()[Fate::sent]}, {"stillStored", pending.size()}, {"dropped", dropped()}};
    auto counts = uploadCounts(ledger.uploads());
    counts.emplace("steps", outcome.stepsPlayed);
    counts.emplace("documentsCreated", ledger.createdDocuments().size());
    counts.emplace("documentsRemoved", ledger.removedDocuments());
    counts.emplace("repeatsAskedFor", ledger.repeatsAskedFor());
    return {{"receipt", std::move(receipt)},
            {"counts", std::move(counts)},
            {"ledger", ledgerValue(currentLedger())},
            {"pending", std::move(pending)}};
}

std::string receiptText(const Dictionary& receipt) {
    const auto& documents = *receipt.at("receipt").dictionary();
    const auto& counts = *receipt.at("counts").dictionary();
    auto text = fmt::format("{} steps, {} documents created, {} uploads\ndocuments: {} sent, {} still stored",
                            counts.at("steps").integerValue(), counts.at("documentsCreated").integerValue(),
                            counts.at("uploads").integerValue(), documents.at("sent").integerValue(),
                            documents.at("stillStored").integerValue());
    for (const auto& [reason, count] : *documents.at("dropped").dictionary()) {
        text += fmt::format(", {} dropped ({})", count.integerValue(), reason);
    }
    return text + "\n";
}

}  // namespace harvelstone::tools
