// Any text, percent-encoded and decoded again by the collector's decoder.

#include "harvelstone/transmit/percent_encoding.hpp"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

#include "fuzz/require.hpp"
#include "tools/body_decoding.hpp"

using harvelstone::fuzz::require;

namespace {

bool standsForItself(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x80 &&
           (std::isalnum(code) != 0 || std::string_view("-._~").find(character) != std::string_view::npos);
}

bool isUpperHexDigit(char character) {
    return std::string_view("0123456789ABCDEF").find(character) != std::string_view::npos;
}

/// Whether the text holds nothing but bytes that stand for themselves and escapes of the others.
bool isEncoded(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (standsForItself(text[i])) continue;
        if (text[i] != '%' || i + 2 >= text.size()) return false;
        if (!isUpperHexDigit(text[i + 1]) || !isUpperHexDigit(text[i + 2])) return false;
        const auto code = std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16);
        if (standsForItself(static_cast<char>(code))) return false;
        i += 2;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = harvelstone::fuzz::textOf(data, size);
    const auto encoded = harvelstone::percentEncoded(text);
    require(isEncoded(encoded), "only what may stand for itself does, and the rest is escaped in upper case");
    std::string refusal;
    require(harvelstone::tools::percentDecode(encoded, refusal) == text, "the text comes back from its encoding");

    const auto decoded = harvelstone::tools::percentDecode(text, refusal);
    require(decoded.has_value() != !refusal.empty(), "a text is decoded, or refused with a reason");
    if (!decoded) return 0;
    require((harvelstone::percentEncoded(*decoded) == text) == isEncoded(text),
            "an encoded text is the encoding of what it says");
    return 0;
}
