// The inspector's page, which the build embeds from tools/page/inspector.html.

#include "tools/inspector_page.hpp"

#include <stdexcept>

namespace harvelstone::tools {

namespace {

constexpr std::string_view policyStart = R"(<meta http-equiv="Content-Security-Policy" content=")";
constexpr std::string_view dataStart = R"(<script type="application/json" id="data">)";

std::size_t endOf(std::string_view mark) {
    const auto position = inspectorPage().find(mark);
    if (position == std::string_view::npos) throw std::logic_error("the embedded page is not whole");
    return position + mark.size();
}

/// A "<" could end the element that the text stands in; in JSON it only occurs inside texts.
std::string escapedForScript(std::string_view json) {
    std::string escaped;
    escaped.reserve(json.size());
    for (const char character : json) {
        if (character == '<')
            escaped += "\\u003c";
        else
            escaped += character;
    }
    return escaped;
}

}  // namespace

std::string_view inspectorPagePolicy() {
    const auto begin = endOf(policyStart);
    return inspectorPage().substr(begin, inspectorPage().find('"', begin) - begin);
}

std::string inspectorPageWith(std::string_view json) {
    const auto position = endOf(dataStart);
    return std::string(inspectorPage().substr(0, position)) + escapedForScript(json) +
           std::string(inspectorPage().substr(position));
}

}  // namespace harvelstone::tools
