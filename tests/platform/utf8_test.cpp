#include "harvelstone/platform/Utf8.hpp"

#include <gtest/gtest.h>

namespace harvelstone::platform {
namespace {

using std::string_literals::operator""s;

/// The text with every U+FFFD shown as "?".
std::string repaired(std::string_view text) {
    auto result = repairedUtf8(text);
    for (std::size_t at = 0; (at = result.find("\xEF\xBF\xBD", at)) != std::string::npos;) result.replace(at, 3, "?");
    return result;
}

TEST(Utf8, KeepsTheFirstAndLastSequenceOfEachLength) {
    for (const auto& text :
         {"\0"s, "\x7F"s, "\xC2\x80"s, "\xDF\xBF"s, "\xE0\xA0\x80"s, "\xEC\xBF\xBF"s, "\xED\x80\x80"s, "\xED\x9F\xBF"s,
          "\xEE\x80\x80"s, "\xF0\x90\x80\x80"s, "\xF3\xBF\xBF\xBF"s, "\xF4\x80\x80\x80"s, "\xF4\x8F\xBF\xBF"s}) {
        EXPECT_TRUE(isValidUtf8(text));
        EXPECT_EQ(repaired(text), text);
    }
}

struct Damage {
    std::string text;
    std::string repaired;
};

TEST(Utf8, ReplacesEachByteOfAnIllFormedSequence) {
    const Damage rows[] = {
        {"\x80"s, "?"},                      // a continuation without a lead
        {"\xC0\x80"s, "??"},                 // overlong forms
        {"\xC1\xBF"s, "??"},                 //
        {"\xE0\x9F\xBF"s, "???"},            //
        {"\xF0\x8F\xBF\xBF"s, "????"},       //
        {"\xED\xA0\x80"s, "???"},            // a surrogate
        {"\xF4\x90\x80\x80"s, "????"},       // above U+10FFFF
        {"\xF5\x80\x80\x80"s, "????"},       //
        {"\xFE\xFF"s, "??"},                 //
        {"\xC3"s, "?"},                      // cut off at the end
        {"\xE2\x82"s, "??"},                 //
        {"\xF0\x9F\x98"s, "???"},            //
        {"\xC3 "s, "? "},                    // cut off by another character
        {"\xE2\x82\x41"s, "??A"},            //
        {"\xF0\x9F\xC3\xA9"s, "??\xC3\xA9"}  //
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.repaired);
        EXPECT_FALSE(isValidUtf8(row.text));
        EXPECT_EQ(repaired(row.text), row.repaired);
    }
}

TEST(Utf8, RepairsOnlyWhatIsBad) {
    EXPECT_EQ(repaired("gr\xC3\xBC\xFF\xC3\x9F \xE2\x82\xAC"), "gr\xC3\xBC?\xC3\x9F \xE2\x82\xAC");
    EXPECT_EQ(repaired(""), "");
}

TEST(Utf8, RepairsEveryPairOfBytesToValidText) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string pair{static_cast<char>(first), static_cast<char>(second)};
            const auto result = repairedUtf8(pair);
            ASSERT_TRUE(isValidUtf8(result)) << first << ' ' << second;
            ASSERT_EQ(result == pair, isValidUtf8(pair)) << first << ' ' << second;
        }
    }
}

}  // namespace
}  // namespace harvelstone::platform
