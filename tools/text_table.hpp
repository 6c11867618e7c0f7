#pragma once

#include <string>
#include <vector>

namespace harvelstone::tools {

enum class Alignment { left, right };

struct Column {
    std::string title;
    Alignment alignment = Alignment::left;
};

using TableRow = std::vector<std::string>;

/// A table in plain text: titles, a rule, one line a row; columns as wide as their widest cell, two blanks apart, no
/// blanks at the ends of lines.
std::string textTable(const std::vector<Column>& columns, const std::vector<TableRow>& rows);

}  // namespace harvelstone::tools
