#pragma once

#include <cstddef>
#include <cstdint>

#include "harvelstone/document/RecordKind.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone::tools {

/// The records of that kind in a document's sections. A push stands alone there.
List recordsIn(const Dictionary& sections, RecordKind kind);

/// How many of the unread records of a queue, from the first, its document holds already: what an app leaves that dies
/// after the document is on disk and before the queue's consumption is. `consumed` is how many the queue's file says
/// have left it.
std::size_t heldRecords(const Dictionary& sections, RecordKind kind, const List& unread, std::uint64_t consumed);

}  // namespace harvelstone::tools
