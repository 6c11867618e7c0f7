#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace harvelstone {

/// An accessor's name and the text that it returns.
struct NamedConstant {
    std::string_view accessor;
    std::string_view text;
};

/// Every accessor of StaticValues and of TrackType, in the order of their table.
const std::vector<NamedConstant>& staticValuesTable();
const std::vector<NamedConstant>& trackTypeTable();

/// The text for an accessor's name ("PARAM_NAME", "TYPE_GOAL"), from either table; any other word is given back as it
/// is.
std::string constantText(std::string_view accessorOrText);

}  // namespace harvelstone
