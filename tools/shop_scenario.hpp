#pragma once

#include <string_view>

namespace harvelstone::tools {

/// The texts of examples/shop.jsonl and examples/shop_replies.jsonl, as they were when the command was built.
std::string_view shopScenario();
std::string_view shopReplies();

}  // namespace harvelstone::tools
