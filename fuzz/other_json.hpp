#pragma once

#include <cctype>
#include <cstddef>
#include <optional>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

#include "tests/support/independent_json.hpp"

namespace harvelstone::fuzz {

/// Whether a number outside of the texts has an exponent of more than 19 digits, which our reader does not take.
inline bool hasOverlongExponent(std::string_view json) {
    constexpr int mostDigits = 19;
    bool isInText = false;
    int digitsLeft = -1;  // of an exponent; -1 outside of one
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto character = json[i];
        if (isInText && character == '\\') {
            ++i;
        } else if (character == '"') {
            isInText = !isInText;
        } else if (isInText) {
            continue;
        } else if (character == 'e' || character == 'E') {
            digitsLeft = mostDigits;
        } else if (std::isdigit(static_cast<unsigned char>(character)) != 0) {
            if (digitsLeft == 0) return true;
            if (digitsLeft > 0) --digitsLeft;
        } else if (character != '+' && character != '-') {
            digitsLeft = -1;
        }
    }
    return false;
}

/// The value of a JSON text as a reader reads it that shares no code with ours; absent for what ours must refuse.
inline std::optional<Value> otherwiseParsed(std::string_view text, std::size_t depthLimit) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    // The other reader passes over a byte order mark, and takes NUL for the end.
    if (text.starts_with(byteOrderMark) || text.find('\0') != std::string_view::npos) return std::nullopt;
    if (hasOverlongExponent(text)) return std::nullopt;
    auto value = testing::independentlyParsed(text);
    if (value && nestingDepth(*value) > depthLimit) return std::nullopt;
    return value;
}

}  // namespace harvelstone::fuzz
