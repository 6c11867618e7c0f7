#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace harvelstone {

/// The kinds of records, each with a queue of its own for each document.
enum class RecordKind { page, click, goal, revenue, push, event, campaign };
inline constexpr std::array allRecordKinds{RecordKind::page,    RecordKind::click, RecordKind::goal,
                                           RecordKind::revenue, RecordKind::push,  RecordKind::event,
                                           RecordKind::campaign};
inline constexpr std::size_t recordKindCount = allRecordKinds.size();

/// "page", "click", ...: the name in ledgers.
std::string_view recordKindName(RecordKind kind);

/// What the name of the kind's queues begins with; the document's id follows.
const std::string& queuePrefix(RecordKind kind);

/// Whose records a queue holds.
struct QueueOwner {
    RecordKind kind = RecordKind::page;
    std::string documentId;
};
/// Of a queue's name; absent from every other name.
std::optional<QueueOwner> queueOwner(std::string_view name);

}  // namespace harvelstone
