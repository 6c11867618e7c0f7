#include "harvelstone/transmit/percent_encoding.hpp"

#include <algorithm>
#include <cctype>
#include <rapidcheck.h>
#include <string>

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {
namespace {

/// By the rule as it is written in the protocol, byte by byte.
std::string encodedByTheRule(const std::string& text) {
    std::string encoded;
    for (const char byte : text) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x80 && (std::isalnum(code) != 0 || byte == '-' || byte == '.' || byte == '_' || byte == '~')) {
            encoded += byte;
        } else {
            const char* const digits = "0123456789ABCDEF";
            encoded += {'%', digits[code / 16], digits[code % 16]};
        }
    }
    return encoded;
}

std::string decoded(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

TEST(PercentEncoding, LettersDigitsAndFourMarksPass) {
    const std::string passing = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    EXPECT_EQ(percentEncoded(passing), passing);
}

TEST(PercentEncoding, TheListedCharactersAreEscaped) {
    EXPECT_EQ(percentEncoded("!*'();:@&=+$,/?%#[]"), "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D");
    EXPECT_EQ(percentEncoded("{\"a b\":1}"), "%7B%22a%20b%22%3A1%7D");
    EXPECT_EQ(percentEncoded("`^|\\<>"), "%60%5E%7C%5C%3C%3E");
}

TEST(PercentEncoding, ACharacterBeyondAsciiBecomesTheEscapesOfItsBytes) {
    EXPECT_EQ(percentEncoded("é"), "%C3%A9");
    EXPECT_EQ(percentEncoded("한"), "%ED%95%9C");
    EXPECT_EQ(percentEncoded("😀"), "%F0%9F%98%80");
}

TEST(PercentEncoding, APercentSignIsEscapedAndNotTakenForAnEscape) { EXPECT_EQ(percentEncoded("%41"), "%2541"); }

TEST(PercentEncoding, NothingStaysNothing) { EXPECT_EQ(percentEncoded(""), ""); }

TEST(PercentEncoding, EveryByteIsEncodedByTheRule) {
    for (int code = 0; code < 256; ++code) {
        const std::string byte(1, static_cast<char>(code));
        EXPECT_EQ(percentEncoded(byte), encodedByTheRule(byte)) << code;
    }
}

TEST(PercentEncoding, AnyBytesComeBackFromTheirEncoding) {
    const bool holds = rc::check([](const std::string& text) {
        const auto encoded = percentEncoded(text);
        RC_ASSERT(encoded == encodedByTheRule(text));
        RC_ASSERT(decoded(encoded) == text);
    });
    EXPECT_TRUE(holds);
}

TEST(PercentEncoding, ALongTextComesInShortPieces) {
    std::string text;
    for (std::size_t i = 0; i < 100'000; ++i) text += static_cast<char>(i * i / 7);
    PercentEncoder encoder(text);
    std::string encoded;
    std::size_t longest = 0;
    for (auto piece = encoder.next(); !piece.empty(); piece = encoder.next()) {
        encoded += piece;
        longest = std::max(longest, piece.size());
    }
    EXPECT_EQ(encoded, encodedByTheRule(text));
    EXPECT_EQ(percentEncoded(text), encoded);
    EXPECT_LE(longest, 16U << 10U);
    EXPECT_EQ(encoder.next(), "");
}

TEST(PercentEncoding, TheManagerOffersIt) {
    const Machine machine;
    EXPECT_EQ(DocumentManager::sharedInstance().changeURLEncading("a/ü~"), "a%2F%C3%BC~");
}

}  // namespace
}  // namespace harvelstone::testing
