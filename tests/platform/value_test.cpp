#include "harvelstone/platform/Value.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <utility>

#include "harvelstone/platform/Exception.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone {
namespace {

using platform::InvalidArgumentException;

constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
constexpr auto highest = std::numeric_limits<std::int64_t>::max();
constexpr auto infinity = std::numeric_limits<double>::infinity();
const std::string replacement = "\xEF\xBF\xBD";

TEST(Value, IsNullUnlessSaidOtherwise) {
    EXPECT_TRUE(Value().isNull());
    EXPECT_TRUE(Value(nullptr).isNull());
    EXPECT_FALSE(Value("").isNull());
    EXPECT_FALSE(Value(0).isNull());
}

TEST(Value, KeepsTheKindsApart) {
    EXPECT_NE(Value(42.0), Value(42));
    EXPECT_NE(Value(true), Value(1));
    EXPECT_NE(Value(false), Value());
    EXPECT_NE(Value("1"), Value(1));
    EXPECT_NE(Value(List()), Value(Dictionary()));
}

TEST(Value, TellsItsKind) {
    EXPECT_TRUE(Value(true).isBoolean());
    EXPECT_TRUE(Value(1).isInteger());
    EXPECT_TRUE(Value(1).isNumber());
    EXPECT_TRUE(Value(1.0).isDouble());
    EXPECT_TRUE(Value(1.0).isNumber());
    EXPECT_FALSE(Value(true).isNumber());
    EXPECT_FALSE(Value(1).isDouble());
    EXPECT_FALSE(Value(1.0).isInteger());
    EXPECT_NE(Value("a").string(), nullptr);
    EXPECT_NE(Value(List()).list(), nullptr);
    EXPECT_NE(Value(Dictionary()).dictionary(), nullptr);
    EXPECT_EQ(Value(1).string(), nullptr);
    EXPECT_EQ(Value("a").list(), nullptr);
    EXPECT_EQ(Value("a").dictionary(), nullptr);
    EXPECT_EQ(Value(1).boolean(), nullptr);
}

TEST(Value, TakesEveryIntegerThatFits) {
    EXPECT_EQ(Value(lowest).integerValue(), lowest);
    EXPECT_EQ(Value(highest).integerValue(), highest);
    EXPECT_EQ(Value(static_cast<unsigned char>(255)).integerValue(), 255);
    EXPECT_EQ(Value(std::uint64_t{7}), Value(7));
}

TEST(Value, MakesAnUnsignedIntegerBeyondTheRangeADouble) {
    const Value beyond(std::numeric_limits<std::uint64_t>::max());
    EXPECT_TRUE(beyond.isDouble());
    EXPECT_EQ(beyond.doubleValue(), 0x1p64);
}

TEST(Value, TruncatesADoubleTowardZero) {
    EXPECT_EQ(Value(2.9).integerValue(), 2);
    EXPECT_EQ(Value(-2.9).integerValue(), -2);
    EXPECT_EQ(Value(-0.5).integerValue(), 0);
}

TEST(Value, HoldsADoubleToTheIntegerRange) {
    EXPECT_EQ(Value(1e300).integerValue(), highest);
    EXPECT_EQ(Value(0x1p63).integerValue(), highest);
    EXPECT_EQ(Value(std::nextafter(0x1p63, 0)).integerValue(), highest - 1023);
    EXPECT_EQ(Value(-0x1p63).integerValue(), lowest);
    EXPECT_EQ(Value(-1e300).integerValue(), lowest);
}

TEST(Value, ReadsABooleanAsOneOrZero) {
    EXPECT_EQ(Value(true).integerValue(), 1);
    EXPECT_EQ(Value(false).integerValue(), 0);
    EXPECT_EQ(Value(true).doubleValue(), 1.0);
}

TEST(Value, ReadsEveryKindThatIsNoNumberAsZero) {
    for (const auto& value : {Value(), Value("12"), Value(List{5}), Value(Dictionary{{"a", 5}})}) {
        EXPECT_EQ(value.integerValue(), 0);
        EXPECT_EQ(value.doubleValue(), 0.0);
    }
}

TEST(Value, ReadsANumberAsADouble) {
    EXPECT_EQ(Value(3).doubleValue(), 3.0);
    EXPECT_EQ(Value(3.25).doubleValue(), 3.25);
}

TEST(Value, ReadsAbsentAsZero) {
    EXPECT_EQ(integerValue(std::nullopt), 0);
    EXPECT_EQ(doubleValue(std::nullopt), 0.0);
    EXPECT_EQ(integerValue(Value(9)), 9);
    EXPECT_EQ(doubleValue(Value(9.5)), 9.5);
}

TEST(Value, RefusesANumberThatJsonCannotHold) {
    EXPECT_THROW(Value(std::nan("")), InvalidArgumentException);
    EXPECT_THROW(Value{infinity}, InvalidArgumentException);
    EXPECT_THROW(Value{-infinity}, InvalidArgumentException);
    EXPECT_NO_THROW(Value{std::numeric_limits<double>::max()});
}

TEST(Value, KeepsWellFormedText) {
    const std::string text("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \0 end", 21);
    EXPECT_EQ(*Value(text).string(), text);
    EXPECT_EQ(*Value(std::string_view(text)).string(), text);
    EXPECT_EQ(*Value("").string(), "");
}

TEST(Value, RepairsEachBadByteOfAText) {
    EXPECT_EQ(*Value("a\xFF\xFE z").string(), "a" + replacement + replacement + " z");
    EXPECT_EQ(*Value(std::string_view("\x80")).string(), replacement);
    EXPECT_EQ(*Value(std::string("\xE2\x82")).string(), replacement + replacement);
}

TEST(Value, CopiesAreIndependent) {
    const Value original(Dictionary{{"list", List{1}}});
    Value copy = original;
    copy.dictionary()->at("list").list()->push_back(2);
    EXPECT_EQ(original, Value(Dictionary{{"list", List{1}}}));
    EXPECT_EQ(copy, Value(Dictionary{{"list", List{1, 2}}}));
}

TEST(Value, HoldsNoDictionaryAfterItWasMovedFrom) {
    Value from(Dictionary{{"a", 1}});
    const Value to = std::move(from);
    // NOLINTNEXTLINE(bugprone-use-after-move): what is left may be asked, copied and replaced.
    EXPECT_EQ(from.dictionary(), nullptr);
    Value copy = from;
    EXPECT_EQ(copy, from);
    from = Dictionary{{"b", 2}};
    EXPECT_EQ(from, Value(Dictionary{{"b", 2}}));
    EXPECT_EQ(to, Value(Dictionary{{"a", 1}}));
}

TEST(Value, TakesLittleMoreRoomThanAText) { EXPECT_LE(sizeof(Value), sizeof(std::string) + sizeof(void*)); }

TEST(SetValue, PutsAndReplaces) {
    Dictionary dictionary{{"a", 1}};
    setValue(dictionary, "a", Value("x"));
    setValue(dictionary, "b", Value(""));
    EXPECT_EQ(dictionary, (Dictionary{{"a", "x"}, {"b", ""}}));
}

TEST(SetValue, RefusesAnAbsentValueAndNamesTheKey) {
    Dictionary dictionary{{"a", 1}};
    for (const auto& absent : {std::optional<Value>(), std::optional<Value>(Value())}) {
        try {
            setValue(dictionary, "a", absent);
            ADD_FAILURE() << "it was put";
        } catch (const InvalidArgumentException& exception) {
            EXPECT_EQ(exception.reason(), "no value for key \"a\"");
        }
    }
    EXPECT_EQ(dictionary, (Dictionary{{"a", 1}}));
}

TEST(FindValue, GivesWhatIsThereAndNoNull) {
    const Dictionary dictionary{{"text", ""}, {"null", nullptr}};
    EXPECT_EQ(findValue(dictionary, "text"), Value(""));
    EXPECT_EQ(findValue(dictionary, "null"), std::nullopt);
    EXPECT_EQ(findValue(dictionary, "other"), std::nullopt);
}

TEST(NestingDepth, CountsContainersAtTheDeepestPlace) {
    EXPECT_EQ(nestingDepth(Value()), 0U);
    EXPECT_EQ(nestingDepth(Value("a")), 0U);
    EXPECT_EQ(nestingDepth(Value(List())), 1U);
    EXPECT_EQ(nestingDepth(Value(List{1, 2})), 1U);
    EXPECT_EQ(nestingDepth(Value(Dictionary())), 1U);
    EXPECT_EQ(nestingDepth(Value(Dictionary{{"a", List{1}}, {"b", 2}})), 2U);
    EXPECT_EQ(nestingDepth(Value(List{List(), Dictionary{{"a", List{List(), 1}}}, 1})), 4U);
}

}  // namespace
}  // namespace harvelstone
