// Tables in plain text.

#include "tools/text_table.hpp"

#include <algorithm>

namespace harvelstone::tools {

namespace {

constexpr std::string_view columnGap = "  ";

std::string line(const std::vector<Column>& columns, const std::vector<std::size_t>& widths, const TableRow& cells) {
    std::string text;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (i > 0) text += columnGap;
        const std::string padding(widths[i] - std::min(widths[i], cells[i].size()), ' ');
        text += columns[i].alignment == Alignment::left ? cells[i] + padding : padding + cells[i];
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text + "\n";
}

}  // namespace

std::string textTable(const std::vector<Column>& columns, const std::vector<TableRow>& rows) {
    TableRow titles;
    TableRow rules;
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        auto width = columns[i].title.size();
        for (const auto& row : rows) width = std::max(width, row[i].size());
        widths.push_back(width);
        titles.push_back(columns[i].title);
        rules.emplace_back(width, '-');
    }
    auto text = line(columns, widths, titles) + line(columns, widths, rules);
    for (const auto& row : rows) text += line(columns, widths, row);
    return text;
}

}  // namespace harvelstone::tools
