// Percent-encoding of the JSON text of an upload. Reads and writes no store. Any thread.

#include "harvelstone/transmit/percent_encoding.hpp"

#include <algorithm>
#include <array>
#include <functional>

#include "harvelstone/document/DocumentManager.hpp"

namespace harvelstone {

namespace {

constexpr std::array<bool, 256> passingBytes() {
    std::array<bool, 256> passing{};
    constexpr std::string_view bytes = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    for (const char byte : bytes) passing[static_cast<unsigned char>(byte)] = true;
    return passing;
}

/// The bytes that stand for themselves.
constexpr auto passing = passingBytes();

constexpr bool passes(char byte) { return passing[static_cast<unsigned char>(byte)]; }

}  // namespace

std::string percentEncoded(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto escapes = static_cast<std::size_t>(std::count_if(text.begin(), text.end(), std::not_fn(passes)));
    std::string encoded(text.size() + 2 * escapes, '%');
    auto out = encoded.begin();
    for (const char byte : text) {
        if (passes(byte)) {
            *out++ = byte;
            continue;
        }
        const auto bits = static_cast<unsigned char>(byte);
        ++out;  // over the "%" that stands there
        *out++ = digits[bits >> 4U];
        *out++ = digits[bits & 0xFU];
    }
    return encoded;
}

std::string DocumentManager::changeURLEncading(const std::string& text) { return percentEncoded(text); }

}  // namespace harvelstone
