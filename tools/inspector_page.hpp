#pragma once

#include <string>
#include <string_view>

namespace harvelstone::tools {

/// The page of `harvelstone collect` and of `harvelstone inspect --html`: one file of HTML, with its styles, its script
/// and its content security policy inside. Built from tools/page/.
std::string_view inspectorPage();

/// That policy, as it stands in the page.
std::string_view inspectorPagePolicy();

/// The page with the data inside: it shows them and asks nobody for more. `json` is one JSON text.
std::string inspectorPageWith(std::string_view json);

}  // namespace harvelstone::tools
