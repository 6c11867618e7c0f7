// Percent-encoding of the JSON text of an upload. Reads and writes no store. Any thread.

#include "harvelstone/transmit/percent_encoding.hpp"

#include <algorithm>
#include <array>

#include "harvelstone/document/DocumentManager.hpp"

namespace harvelstone {

namespace {

/// What stands for a byte.
struct Code {
    std::array<char, 3> text{};
    unsigned char length = 0;
};

constexpr std::array<Code, 256> allCodes() {
    constexpr std::string_view passing = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::array<Code, 256> codes{};
    for (std::size_t byte = 0; byte < codes.size(); ++byte)
        codes[byte] = {{'%', digits[byte / 16], digits[byte % 16]}, 3};
    for (const char byte : passing) codes[static_cast<unsigned char>(byte)] = {{byte}, 1};
    return codes;
}

constexpr auto codes = allCodes();

}  // namespace

std::string_view PercentEncoder::next() {
    const auto input = rest_.substr(0, longestInput);
    rest_.remove_prefix(input.size());
    auto* end = piece_.data();
    for (const char byte : input) {
        const auto& code = codes[static_cast<unsigned char>(byte)];
        // The whole of it, whatever its length: the next one goes over what is too much.
        end = std::copy(code.text.begin(), code.text.end(), end) - code.text.size() + code.length;
    }
    return {piece_.data(), end};
}

std::string percentEncoded(std::string_view text) {
    PercentEncoder encoder(text);
    std::string encoded;
    encoded.reserve(2 * text.size());  // JSON text needs less
    for (auto piece = encoder.next(); !piece.empty(); piece = encoder.next()) encoded += piece;
    return encoded;
}

std::string DocumentManager::changeURLEncading(const std::string& text) { return percentEncoded(text); }

}  // namespace harvelstone
