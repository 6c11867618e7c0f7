// `harvelstone keys`: the constants of the system, from their one table.

#include "tools/keys.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iostream>
#include <iterator>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/Constants.hpp"

#include "tools/exit_codes.hpp"

namespace harvelstone::tools {

namespace {

void appendTable(std::string& text, std::string_view title, const std::vector<NamedConstant>& constants) {
    std::size_t width = 0;
    for (const auto& constant : constants) width = std::max(width, constant.accessor.size());
    fmt::format_to(std::back_inserter(text), "{}\n", title);
    for (const auto& constant : constants) {
        fmt::format_to(std::back_inserter(text), "  {:<{}}  {}\n", constant.accessor, width, constant.text);
    }
}

void appendMarkdownTable(std::string& text, std::string_view title, const std::vector<NamedConstant>& constants) {
    fmt::format_to(std::back_inserter(text), "## {}\n\n| accessor | text |\n|---|---|\n", title);
    for (const auto& constant : constants) {
        fmt::format_to(std::back_inserter(text), "| `{}` | `{}` |\n", constant.accessor, constant.text);
    }
}

Dictionary asDictionary(const std::vector<NamedConstant>& constants) {
    Dictionary dictionary;
    for (const auto& constant : constants) dictionary.emplace(constant.accessor, constant.text);
    return dictionary;
}

}  // namespace

std::string keysText() {
    std::string text;
    appendTable(text, "StaticValues", staticValuesTable());
    appendTable(text, "TrackType", trackTypeTable());
    return text;
}

std::string keysMarkdown() {
    std::string text;
    appendMarkdownTable(text, "StaticValues", staticValuesTable());
    text += "\n";
    appendMarkdownTable(text, "TrackType", trackTypeTable());
    return text;
}

std::string keysJson() {
    return platform::jsonText(
        Dictionary{{"StaticValues", asDictionary(staticValuesTable())}, {"TrackType", asDictionary(trackTypeTable())}});
}

int runKeys(KeysFormat format) {
    switch (format) {
        case KeysFormat::text:
            std::cout << keysText();
            break;
        case KeysFormat::json:
            std::cout << keysJson() << "\n";
            break;
        case KeysFormat::markdown:
            std::cout << keysMarkdown();
            break;
    }
    std::cout << std::flush;
    return std::cout ? exitDone : exitFailed;
}

}  // namespace harvelstone::tools
