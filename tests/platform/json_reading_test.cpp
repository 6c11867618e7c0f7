#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"

#include "tests/support/TestPlatform.hpp"
#include "tests/support/independent_json.hpp"

namespace harvelstone::platform {
namespace {

using testing::independentlyParsed;

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t index = 0; index < count; ++index) all += text;
    return all;
}

std::string nestedLists(std::size_t depth) { return repeated("[", depth) + repeated("]", depth); }

std::string nestedDictionaries(std::size_t depth) { return repeated(R"({"a":)", depth) + "1" + repeated("}", depth); }

TEST(ParseJson, ReadsEveryKind) {
    EXPECT_EQ(parseJson("null"), Value());
    EXPECT_EQ(parseJson("true"), Value(true));
    EXPECT_EQ(parseJson("false"), Value(false));
    EXPECT_EQ(parseJson("-12"), Value(-12));
    EXPECT_EQ(parseJson("1.5"), Value(1.5));
    EXPECT_EQ(parseJson("\"text\""), Value("text"));
    EXPECT_EQ(parseJson("[]"), Value(List()));
    EXPECT_EQ(parseJson("{}"), Value(Dictionary()));
    EXPECT_EQ(parseJson(R"( { "a" : [ 1 , { "b" : null } , "c" ] , "d" : { } } )"),
              Value(Dictionary{{"a", List{1, Dictionary{{"b", nullptr}}, "c"}}, {"d", Dictionary()}}));
}

TEST(ParseJson, ReadsAScalarWithSpaceAroundIt) {
    for (const auto* space : {" ", "\n", "\t", "\r\n", "      "}) {
        EXPECT_EQ(parseJson(space + std::string("null") + space), Value());
        EXPECT_EQ(parseJson(space + std::string("7") + space), Value(7));
        EXPECT_EQ(parseJson(space + std::string("\"a\"") + space), Value("a"));
    }
}

TEST(ParseJson, KeepsIntegersWithin64Bits) {
    EXPECT_EQ(parseJson("9223372036854775807"), Value(std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ(parseJson("-9223372036854775808"), Value(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(parseJson("0"), Value(0));
    EXPECT_EQ(parseJson("-0"), Value(0));
}

TEST(ParseJson, MakesAnIntegerBeyond64BitsADouble) {
    EXPECT_EQ(parseJson("9223372036854775808"), Value(0x1p63));
    EXPECT_EQ(parseJson("-9223372036854775809"), Value(-0x1p63));
    EXPECT_EQ(parseJson("18446744073709551616"), Value(0x1p64));
    EXPECT_EQ(parseJson("1" + repeated("0", 300)), Value(1e300));
}

TEST(ParseJson, KeepsADoubleADouble) {
    EXPECT_EQ(parseJson("42.0"), Value(42.0));
    EXPECT_EQ(parseJson("1e2"), Value(100.0));
    EXPECT_EQ(parseJson("1E-2"), Value(0.01));
    EXPECT_EQ(parseJson("-0.0"), Value(-0.0));
    EXPECT_EQ(parseJson("1.7976931348623157e308"), Value(std::numeric_limits<double>::max()));
    EXPECT_EQ(parseJson("5e-324"), Value(std::numeric_limits<double>::denorm_min()));
    EXPECT_EQ(parseJson("1e-400"), Value(0.0));
    EXPECT_EQ(parseJson("0." + repeated("3", 2000)), Value(1.0 / 3.0));
}

TEST(ParseJson, RefusesANumberThatOverflows) {
    EXPECT_EQ(parseJson("1e309"), std::nullopt);
    EXPECT_EQ(parseJson("-1e400"), std::nullopt);
    EXPECT_EQ(parseJson("[1" + repeated("0", 400) + "]"), std::nullopt);
}

TEST(ParseJson, RefusesAnExponentOfMoreThan19Digits) {
    EXPECT_EQ(parseJson("1e" + repeated("0", 18) + "1"), Value(10.0));
    EXPECT_EQ(parseJson("1e" + repeated("0", 19) + "1"), std::nullopt);
    EXPECT_EQ(parseJson("0e" + repeated("9", 19)), Value(0.0));
    EXPECT_EQ(parseJson("1e-" + repeated("9", 20)), std::nullopt);
}

TEST(ParseJson, ReadsAFractionOfTwentyDigits) {
    EXPECT_EQ(parseJson("0.073703709551695516166"), Value(0.073703709551695516166));
    EXPECT_EQ(parseJson("-0.073703709551695516166e1 "), Value(-0.73703709551695516166));
    EXPECT_EQ(parseJson("73703709551695516166"), Value(73703709551695516166.0));
}

TEST(ParseJson, ReadsEscapes) {
    EXPECT_EQ(parseJson(R"("\"\\\/\b\f\n\r\t")"), Value("\"\\/\b\f\n\r\t"));
    EXPECT_EQ(parseJson(R"("\u0041\u00e9\u20AC\uD83D\uDE00")"), Value("A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"));
    EXPECT_EQ(parseJson(R"("a\u0000b")"), Value(std::string("a\0b", 3)));
    EXPECT_EQ(parseJson(R"({"k\u00e9\n":1})"), Value(Dictionary{{"k\xC3\xA9\n", 1}}));
}

TEST(ParseJson, TakesTheLastOfAKeyThatStandsTwice) {
    EXPECT_EQ(parseJson(R"({"a":1,"b":2,"a":[3]})"), Value(Dictionary{{"a", List{3}}, {"b", 2}}));
    EXPECT_EQ(parseJson(R"({"a":{"x":1},"a":{"y":2}})"), Value(Dictionary{{"a", Dictionary{{"y", 2}}}}));
    EXPECT_EQ(parseJson(R"({"a":1,"a":null})"), Value(Dictionary{{"a", nullptr}}));
}

TEST(ParseJson, RefusesWhatIsNoJson) {
    for (const std::string text : {"",
                                   " ",
                                   "nul",
                                   "nullx",
                                   "nullx ",
                                   "nulll",
                                   "truee",
                                   "falsee",
                                   "True",
                                   "NaN",
                                   "-",
                                   "+1",
                                   "01",
                                   "-01",
                                   "1.",
                                   ".5",
                                   "1e",
                                   "1e+",
                                   "0x10",
                                   "1_000",
                                   "Infinity",
                                   "1 2",
                                   "1,2",
                                   "[1,2",
                                   "[1,]",
                                   "[,1]",
                                   "[1 2]",
                                   "1]",
                                   "[1]]",
                                   "1],[2",
                                   "],[",
                                   "]",
                                   "[",
                                   "{",
                                   "}",
                                   "{]",
                                   "[}",
                                   "{\"a\"}",
                                   "{\"a\":}",
                                   "{\"a\":1,}",
                                   "{,}",
                                   "{1:2}",
                                   "{a:1}",
                                   "{'a':1}",
                                   "\"",
                                   "\"a",
                                   "a\"",
                                   "'a'",
                                   "\"\\x\"",
                                   "\"\\\"",
                                   "\"a\nb\"",
                                   "\"\\u12\"",
                                   "\"\\uD800\"",
                                   "\"\\uDC00\"",
                                   "{} {}",
                                   "[] []",
                                   "{}x",
                                   "[]\"a\"",
                                   "// a\n1",
                                   "1/**/",
                                   "{\"a\":1 \"b\":2}",
                                   "{\"a\" 1}",
                                   "{\"a\":1:2}",
                                   "[\"a\":1]",
                                   "{\"a\",1}",
                                   "[1,,2]",
                                   "[[1],[2]",
                                   "{\"a\":[}"}) {
        EXPECT_EQ(parseJson(text), std::nullopt) << text;
        EXPECT_EQ(independentlyParsed(text), std::nullopt) << text;
    }
}

TEST(ParseJson, RefusesBytesThatJsonDoesNotAllow) {
    EXPECT_EQ(parseJson(std::string("\"a\0b\"", 5)), std::nullopt);
    EXPECT_EQ(parseJson(std::string("1\0", 2)), std::nullopt);
    EXPECT_EQ(parseJson(std::string("\0", 1)), std::nullopt);
    EXPECT_EQ(parseJson("\xEF\xBB\xBF{}"), std::nullopt);
    EXPECT_EQ(parseJson("[1,\v2]"), std::nullopt);
}

TEST(ParseJson, RefusesTextThatIsNotUtf8) {
    EXPECT_EQ(parseJson("\"\xFF\""), std::nullopt);
    EXPECT_EQ(parseJson("\"\xC3\""), std::nullopt);
    EXPECT_EQ(parseJson("{\"\xED\xA0\x80\":1}"), std::nullopt);
    EXPECT_EQ(parseJson("\xE2\x82"), std::nullopt);
}

TEST(ParseJson, CountsContainersAgainstTheLimit) {
    EXPECT_TRUE(parseJson(nestedLists(jsonDepthLimit)));
    EXPECT_EQ(parseJson(nestedLists(jsonDepthLimit + 1)), std::nullopt);
    EXPECT_TRUE(parseJson(nestedDictionaries(jsonDepthLimit)));
    EXPECT_EQ(parseJson(nestedDictionaries(jsonDepthLimit + 1)), std::nullopt);
    EXPECT_TRUE(parseJson("[" + repeated("[[]],", 1000) + "[]]", /*depthLimit=*/3));
}

TEST(ParseJson, TakesAnotherLimit) {
    EXPECT_TRUE(parseJson("1", /*depthLimit=*/0));
    EXPECT_EQ(parseJson("[]", /*depthLimit=*/0), std::nullopt);
    EXPECT_TRUE(parseJson(R"([{"a":1}])", /*depthLimit=*/2));
    EXPECT_EQ(parseJson(R"([{"a":[]}])", /*depthLimit=*/2), std::nullopt);
    EXPECT_TRUE(parseJson(nestedDictionaries(storedJsonDepthLimit), storedJsonDepthLimit));
    EXPECT_EQ(parseJson(nestedLists(storedJsonDepthLimit + 1), storedJsonDepthLimit), std::nullopt);
}

TEST(ParseJson, SurvivesHostileNesting) {
    constexpr std::size_t hostile = 100'000;
    EXPECT_EQ(parseJson(nestedLists(hostile)), std::nullopt);
    EXPECT_EQ(parseJson(repeated("[", hostile)), std::nullopt);
    EXPECT_EQ(parseJson(repeated("]", hostile)), std::nullopt);
    EXPECT_EQ(parseJson(nestedDictionaries(hostile)), std::nullopt);
    EXPECT_EQ(parseJson(repeated(R"({"a":[)", hostile)), std::nullopt);
}

TEST(ParseJson, ReadsALongText) {
    const auto text = "[" + repeated(R"({"name":"value \u20ac","number":12.5,"list":[1,2,3]},)", 20'000) + "0]";
    const auto value = parseJson(text);
    ASSERT_TRUE(value);
    EXPECT_EQ(value->list()->size(), 20'001U);
    EXPECT_EQ(value, independentlyParsed(text));
}

TEST(ParseJson, JudgesDamagedTextsAsAnotherReaderDoes) {
    const std::string seeds[] = {R"({"a":[1,-2.5e3,true,null],"b\u00e9":{"c":"x\n\"y\""},"d":[]})",
                                 R"([12345678901234567890,0.1,1e-7,"\uD83D\uDE00",{"":""},false])", "-12.75e+2"};
    const std::string bytes = "{}[],:\"\\0123456789.eE+-truefalsn u/\n\x01\xC3\xA9 ";
    std::mt19937 random(20161116);  // NOLINT(cert-msc51-cpp): the same texts in every run
    int readable = 0;
    for (int round = 0; round < 60'000; ++round) {
        auto text = seeds[random() % std::size(seeds)];
        for (auto changes = random() % 3 + 1; changes > 0 && !text.empty(); --changes) {
            const auto place = random() % text.size();
            const auto kind = random() % 3;
            if (kind == 0) text.erase(place, random() % 4);
            if (kind == 1) text[place] = bytes[random() % bytes.size()];
            if (kind == 2) text.insert(place, 1, bytes[random() % bytes.size()]);
        }
        const auto expected = independentlyParsed(text);
        ASSERT_EQ(parseJson(text), expected) << text;
        readable += expected ? 1 : 0;
    }
    EXPECT_GT(readable, 5'000);
    EXPECT_LT(readable, 55'000);
}

TEST(ParseJsonBody, ReadsABody) { EXPECT_EQ(parseJsonBody(R"({"retry":true})"), Value(Dictionary{{"retry", true}})); }

TEST(ParseJsonBody, GivesNothingForABodyThatIsNoJson) {
    EXPECT_EQ(parseJsonBody(""), std::nullopt);
    EXPECT_EQ(parseJsonBody("<html>"), std::nullopt);
    EXPECT_EQ(parseJsonBody(nestedLists(jsonDepthLimit + 1)), std::nullopt);
}

TEST(ParseJsonBody, RaisesForAnAbsentBody) {
    try {
        parseJsonBody(std::nullopt);
        FAIL() << "nothing was raised";
    } catch (const InvalidArgumentException& exception) {
        EXPECT_EQ(exception.reason(), "the reply has no body");
    }
}

}  // namespace
}  // namespace harvelstone::platform
