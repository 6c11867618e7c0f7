// What a document holds, in few words.

#include "tools/document_summary.hpp"

#include <algorithm>
#include <fmt/format.h>

#include "harvelstone/services/Constants.hpp"
#include "harvelstone/services/TrackType.hpp"

namespace harvelstone::tools {

namespace {

std::string summaryOf(const Dictionary& document, bool onlyRecords) {
    std::string summary;
    for (const auto& type : trackTypeTable()) {
        const auto key = std::string(type.text);
        if (onlyRecords &&
            (key == TrackType::TYPE_SESSION().toString() || key == TrackType::TYPE_POSTBACK().toString()))
            continue;
        const auto value = findValue(document, key);
        if (!value) continue;
        if (const auto* list = value->list()) {
            if (!list->empty()) summary += fmt::format(" {}:{}", key, list->size());
        } else {
            summary += " " + key;
        }
    }
    return summary.empty() ? "-" : summary.substr(1);
}

}  // namespace

std::string sectionSummary(const Dictionary& document) { return summaryOf(document, /*onlyRecords=*/false); }

std::string recordSummary(const Dictionary& document) { return summaryOf(document, /*onlyRecords=*/true); }

}  // namespace harvelstone::tools
