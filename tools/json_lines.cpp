// Reading JSON Lines: scenarios and scripted replies.

#include "tools/json_lines.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>

#include "harvelstone/platform/Json.hpp"

#include "tools/exit_codes.hpp"

namespace harvelstone::tools {

namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view line) {
    const auto first = line.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

}  // namespace

std::string LinePlace::text() const { return fmt::format("{}:{}", file, number); }

std::vector<JsonLine> parseJsonLines(std::string_view text, const std::string& file) {
    std::vector<JsonLine> lines;
    std::size_t number = 0;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        ++number;
        if (line.empty() || line.starts_with('#')) continue;

        LinePlace place{file, number};
        auto value = platform::parseJson(line);
        if (!value || !value->dictionary()) throw WrongUse(place.text() + ": the line is no JSON object");
        lines.push_back({std::move(place), std::move(*value->dictionary())});
    }
    return lines;
}

std::string readTextFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string content;
    std::array<char, 65536> buffer{};
    // Unlike the stream's iterators, `read` turns an error into a state.
    while (stream.read(buffer.data(), buffer.size()) || stream.gcount() > 0) {
        content.append(buffer.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (!stream.eof()) throw WrongUse(fmt::format("{}: cannot be read: {}", file, std::strerror(errno)));
    return content;
}

}  // namespace harvelstone::tools
