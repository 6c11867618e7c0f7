// Records that stand in a document and in its queue as well. Pure functions.

#include "tools/held_records.hpp"

#include <algorithm>

#include "harvelstone/services/StaticValues.hpp"

namespace harvelstone::tools {

namespace {

/// Without what a record is stamped with on its way into the document.
Dictionary unstamped(const Value& record) {
    auto members = record.dictionary() ? *record.dictionary() : Dictionary();
    members.erase(StaticValues::PARAM_AP_VR());
    members.erase(StaticValues::PARAM_SDK_VERSION());
    return members;
}

/// What short page records are folded into. It has the date of the last of them.
bool isPageSummary(const Dictionary& page) {
    return page.size() == 3 && page.contains(StaticValues::PARAM_VT_TZ()) && page.contains(StaticValues::PARAM_VS()) &&
           page.contains(StaticValues::PARAM_CS_P_V());
}

}  // namespace

List recordsIn(const Dictionary& sections, RecordKind kind) {
    const auto& prefix = queuePrefix(kind);
    const auto section = findValue(sections, prefix.substr(0, prefix.size() - 1));
    if (!section) return {};
    if (section->list()) return *section->list();
    List one;
    if (section->dictionary() && !section->dictionary()->empty()) one.push_back(*section);
    return one;
}

std::size_t heldRecords(const Dictionary& sections, RecordKind kind, const List& unread, std::uint64_t consumed) {
    // A document is filled once, with all that stands in its queues, and has this member from then on.
    if (!sections.contains(StaticValues::RETRY_COUNT())) return 0;
    const auto held = recordsIn(sections, kind);
    if (held.size() <= consumed) return 0;  // the records in the queue came later
    const auto last = unstamped(held.back());
    const auto endsSo = [&](const Value& record) {
        if (unstamped(record) == last) return true;
        const auto& date = StaticValues::PARAM_VT_TZ();
        return kind == RecordKind::page && isPageSummary(last) && record.dictionary() &&
               findValue(*record.dictionary(), date) == findValue(last, date);
    };
    const auto found = std::find_if(unread.rbegin(), unread.rend(), endsSo);
    return static_cast<std::size_t>(unread.rend() - found);
}

}  // namespace harvelstone::tools
