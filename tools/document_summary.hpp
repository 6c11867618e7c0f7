#pragma once

#include <string>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone::tools {

/// The sections of a document in few words, lists with the number of their records: "session postback goal:2 pages:3".
/// Members that are no section, and empty lists, are left out.
std::string sectionSummary(const Dictionary& document);

/// The same without session and postback: what the visit reported, "goal:2 pages:3 push"; "-" for nothing.
std::string recordSummary(const Dictionary& document);

}  // namespace harvelstone::tools
