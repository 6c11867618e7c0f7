// The books of the demo: what was sent against what arrived.

#include "tools/arrival_check.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <optional>

#include "harvelstone/platform/Json.hpp"

#include "tools/document_summary.hpp"
#include "tools/text_table.hpp"

namespace harvelstone::tools {

namespace {

/// One text for all JSON texts of the same value.
std::string canonical(const std::string& json) {
    const auto value = platform::parseJson(json, platform::storedJsonDepthLimit);
    return value ? platform::jsonText(*value) : json;
}

/// The elements' texts in the order of their bytes.
template <typename Element, typename TextOf>
std::vector<std::string> sortedTexts(const std::vector<Element>& elements, TextOf textOf) {
    std::vector<std::string> texts(elements.size());
    std::transform(elements.begin(), elements.end(), texts.begin(), textOf);
    std::sort(texts.begin(), texts.end());
    return texts;
}

std::size_t surplus(const std::vector<std::string>& of, const std::vector<std::string>& over) {
    std::vector<std::string> difference;
    std::set_difference(of.begin(), of.end(), over.begin(), over.end(), std::back_inserter(difference));
    return difference.size();
}

std::size_t attempts(const DemoRecord& record, const std::string& id) {
    return static_cast<std::size_t>(std::count_if(
        record.uploads.begin(), record.uploads.end(),
        [&](const auto& upload) { return upload.sort == UploadSort::document && upload.documentId == id; }));
}

bool isPending(const DemoRecord& record, const std::string& id) {
    return std::find(record.pending.begin(), record.pending.end(), id) != record.pending.end();
}

std::optional<std::string> documentFault(const DemoRecord& record, const std::string& id) {
    const auto fate = record.fates.find(id);
    const auto sendings = attempts(record, id);
    if (fate == record.fates.end()) {
        if (isPending(record, id)) return std::nullopt;
        return fmt::format("document {} is neither pending nor retired", id);
    }
    if (fate->second == Fate::sent && sendings == 0) return fmt::format("document {} counts as sent but never was", id);
    if (fate->second == Fate::transportFailed) return fmt::format("document {} got no answer", id);
    if (fate->second == Fate::sessionMissing) return fmt::format("document {} was lost before it was sent", id);
    return std::nullopt;
}

const DecodedBody* arrivalOf(const DemoRecord& record, const Upload& upload) {
    const auto text = canonical(upload.json);
    const auto found = std::find_if(record.received.begin(), record.received.end(),
                                    [&](const auto& body) { return platform::jsonText(body.document) == text; });
    return found == record.received.end() ? nullptr : &*found;
}

TableRow row(const std::string& title, const DecodedBody* body, std::size_t attempts, std::string_view fate) {
    if (body == nullptr) return {title, "-", "-", "-", "-", std::to_string(attempts), std::string(fate)};
    return {title,
            recordSummary(body->document),
            std::to_string(body->json.size()),
            std::to_string(body->encodedBytes),
            std::to_string(body->gzipBytes),
            std::to_string(attempts),
            std::string(fate)};
}

TableRow documentRow(const DemoRecord& record, const std::string& id) {
    const DecodedBody* latest = nullptr;
    for (const auto& upload : record.uploads) {
        if (upload.sort == UploadSort::document && upload.documentId == id) latest = arrivalOf(record, upload);
    }
    const auto fate = record.fates.find(id);
    const auto fateText = fate != record.fates.end() ? fateName(fate->second)
                          : isPending(record, id)    ? "pending"
                                                     : "lost";
    return row(id, latest, attempts(record, id), fateText);
}

}  // namespace

std::vector<std::string> arrivalFaults(const DemoRecord& record) {
    std::vector<std::string> faults;
    for (const auto& reason : record.refused) faults.push_back("the collector refused an upload: " + reason);
    const auto sent = sortedTexts(record.uploads, [](const auto& upload) { return canonical(upload.json); });
    const auto arrived =
        sortedTexts(record.received, [](const auto& body) { return platform::jsonText(body.document); });
    if (const auto count = surplus(sent, arrived))
        faults.push_back(fmt::format("{} uploads did not arrive as sent", count));
    if (const auto count = surplus(arrived, sent)) faults.push_back(fmt::format("{} arrivals were never sent", count));
    for (const auto& id : record.created) {
        if (auto fault = documentFault(record, id)) faults.push_back(*std::move(fault));
    }
    return faults;
}

std::string arrivalTable(const DemoRecord& record) {
    std::vector<TableRow> rows;
    for (const auto& id : record.created) rows.push_back(documentRow(record, id));
    for (const auto& upload : record.uploads) {
        if (upload.sort == UploadSort::document) continue;
        const auto* title = upload.sort == UploadSort::click ? "(immediate click)" : "(immediate goal)";
        const auto* body = arrivalOf(record, upload);
        rows.push_back(row(title, body, /*attempts=*/1, body != nullptr ? "sent" : "lost"));
    }
    return textTable({{"document", Alignment::left},
                      {"records", Alignment::left},
                      {"JSON", Alignment::right},
                      {"encoded", Alignment::right},
                      {"gzip", Alignment::right},
                      {"attempts", Alignment::right},
                      {"fate", Alignment::left}},
                     rows);
}

}  // namespace harvelstone::tools
