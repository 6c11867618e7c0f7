#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone::tools {

/// Where a line stands, for messages: "FILE:LINE".
struct LinePlace {
    std::string file;
    std::size_t number = 0;  ///< from 1

    std::string text() const;
};

struct JsonLine {
    LinePlace place;
    Dictionary object;
};

/// One JSON object a line. Blank lines and those that begin with "#" are left out. A line that is no JSON object raises
/// WrongUse, whose message begins with the place.
std::vector<JsonLine> parseJsonLines(std::string_view text, const std::string& file);

/// The file's whole content. A file that cannot be read raises WrongUse.
std::string readTextFile(const std::string& file);

}  // namespace harvelstone::tools
