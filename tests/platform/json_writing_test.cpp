#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <utility>

#include "harvelstone/platform/Json.hpp"

#include "tests/support/TestPlatform.hpp"
#include "tests/support/independent_json.hpp"
#include "tests/support/peak_memory.hpp"

namespace harvelstone::platform {
namespace {

using testing::independentlyParsed;

Value nestedLists(std::size_t depth) {
    Value value(List{});
    for (std::size_t level = 1; level < depth; ++level) {
        List outer;
        outer.push_back(std::move(value));
        value = Value(std::move(outer));
    }
    return value;
}

TEST(JsonText, WritesEveryKind) {
    EXPECT_EQ(jsonText(Value()), "null");
    EXPECT_EQ(jsonText(Value(true)), "true");
    EXPECT_EQ(jsonText(Value(false)), "false");
    EXPECT_EQ(jsonText(Value("text")), "\"text\"");
    EXPECT_EQ(jsonText(Value(List())), "[]");
    EXPECT_EQ(jsonText(Value(Dictionary())), "{}");
    EXPECT_EQ(jsonText(Dictionary()), "{}");
    EXPECT_EQ(jsonText(Value(List{1, "a", List{}, nullptr})), R"([1,"a",[],null])");
}

TEST(JsonText, WritesKeysInTheOrderOfTheirBytes) {
    const Dictionary dictionary{{"b", 2}, {"a", 1}, {"B", 3}, {"", 4}, {"\xC3\xA9", 5}, {"aa", 6}};
    EXPECT_EQ(jsonText(dictionary), "{\"\":4,\"B\":3,\"a\":1,\"aa\":6,\"b\":2,\"\xC3\xA9\":5}");
}

TEST(JsonText, WritesIntegersInDecimal) {
    EXPECT_EQ(jsonText(Value(0)), "0");
    EXPECT_EQ(jsonText(Value(std::numeric_limits<std::int64_t>::max())), "9223372036854775807");
    EXPECT_EQ(jsonText(Value(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808");
}

TEST(JsonText, WritesADoubleAsADouble) {
    EXPECT_EQ(jsonText(Value(42.0)), "42.0");
    EXPECT_EQ(jsonText(Value(-1.0)), "-1.0");
    EXPECT_EQ(jsonText(Value(-0.0)), "-0.0");
    EXPECT_EQ(jsonText(Value(0.1)), "0.1");
    EXPECT_EQ(jsonText(Value(1e300)), "1e+300");
    EXPECT_EQ(jsonText(Value(1479259200.5)), "1479259200.5");
    EXPECT_EQ(jsonText(Value(0x1p63)), "9223372036854775808.0");
    EXPECT_EQ(jsonText(Value(-std::numeric_limits<double>::denorm_min())), "-5e-324");
}

TEST(JsonText, EscapesWhatItMustAndNoMore) {
    EXPECT_EQ(jsonText(Value("\"\\\b\f\n\r\t")), R"("\"\\\b\f\n\r\t")");
    EXPECT_EQ(jsonText(Value(std::string("\0\x01\x1f\x7f/", 5))), "\"\\u0000\\u0001\\u001f\x7f/\"");
    EXPECT_EQ(jsonText(Value("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80")), "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"");
    EXPECT_EQ(jsonText(Dictionary{{"a\"\n", 1}}), R"({"a\"\n":1})");
}

TEST(JsonText, RepairsAKeyThatIsNotUtf8) {
    const Dictionary dictionary{{"a\xFF", Dictionary{{"\xC3", 1}}}};
    EXPECT_EQ(jsonText(dictionary), "{\"a\xEF\xBF\xBD\":{\"\xEF\xBF\xBD\":1}}");
}

TEST(JsonText, WritesTheSameForADictionaryAsAValue) {
    const Dictionary dictionary{{"a", List{1.5, Dictionary{{"b", true}}}}};
    EXPECT_EQ(jsonText(dictionary), jsonText(Value(dictionary)));
}

class RandomValues {
  public:
    Value next(int depth) {
        switch (random_() % (depth > 0 ? 8 : 6)) {
            case 0:
                return nullptr;
            case 1:
                return random_() % 2 == 0;
            case 2:
                return static_cast<std::int64_t>(random_()) >> random_() % 64;
            case 3:
                return number();
            case 4:
            case 5:
                return text();
            case 6:
                return list(depth);
            default:
                return dictionary(depth);
        }
    }

    double number() {
        for (;;) {
            const auto bits = random_();
            double number = 0;
            std::memcpy(&number, &bits, sizeof number);
            if (std::isfinite(number)) return random_() % 2 == 0 ? number : std::round(std::fmod(number, 1e6));
        }
    }

  private:
    std::string text() {
        std::string bytes(random_() % 12, ' ');
        for (auto& byte : bytes) byte = static_cast<char>(random_() % (random_() % 4 == 0 ? 256 : 128));
        return *Value(bytes).string();  // repaired
    }

    List list(int depth) {
        List list;
        for (auto count = random_() % 5; count > 0; --count) list.push_back(next(depth - 1));
        return list;
    }

    Dictionary dictionary(int depth) {
        Dictionary dictionary;
        for (auto count = random_() % 5; count > 0; --count) dictionary.insert_or_assign(text(), next(depth - 1));
        return dictionary;
    }

    std::mt19937_64 random_{1479259200};  // NOLINT(cert-msc51-cpp): the same values in every run
};

TEST(JsonText, ReadsBackTheSame) {
    RandomValues values;
    for (int round = 0; round < 5'000; ++round) {
        const auto value = values.next(/*depth=*/5);
        const auto text = jsonText(value);
        ASSERT_EQ(parseJson(text), value) << text;
        ASSERT_EQ(independentlyParsed(text), value) << text;
    }
}

TEST(JsonText, ReadsEveryDoubleBackToTheBit) {
    RandomValues values;
    for (int round = 0; round < 50'000; ++round) {
        const auto number = values.number();
        const auto text = jsonText(Value(number));
        const auto back = parseJson(text);
        ASSERT_TRUE(back && back->isDouble()) << text;
        ASSERT_EQ(back->doubleValue(), number) << text;
        ASSERT_EQ(std::signbit(back->doubleValue()), std::signbit(number)) << text;
    }
}

TEST(JsonText, IsNotInMemoryTwiceWhileItIsWritten) {
    constexpr std::size_t characters = 40;
    constexpr std::size_t texts = 380'000;
    const Value list(List(texts, std::string(characters, 'x')));
    std::string text;
    const auto peak = testing::memoryPeakDuring([&] { text = jsonText(list); });
    EXPECT_GT(text.size(), texts * characters);
    EXPECT_LE(peak, text.size() + text.size() / 4);
}

TEST(SerializeJson, WritesAPayload) {
    std::string error = "untouched";
    EXPECT_EQ(serializeJson({{"a", List{1, 2}}, {"b", "c"}}, error), R"({"a":[1,2],"b":"c"})");
    EXPECT_EQ(serializeJson({}, error), "{}");
    EXPECT_EQ(error, "untouched");
}

TEST(SerializeJson, RefusesAPayloadThatIsNestedTooDeep) {
    std::string error;
    const auto deepest = serializeJson({{"a", nestedLists(jsonDepthLimit - 1)}}, error);
    ASSERT_TRUE(deepest);
    EXPECT_TRUE(parseJson(*deepest));
    EXPECT_EQ(error, "");

    EXPECT_EQ(serializeJson({{"a", nestedLists(jsonDepthLimit)}, {"b", 1}}, error), std::nullopt);
    EXPECT_EQ(error, "the payload is nested deeper than 512 containers");
}

TEST(SerializeJson, WritesWhatAFileOfOursMayHold) {
    const auto value = nestedLists(storedJsonDepthLimit);
    EXPECT_EQ(nestingDepth(value), storedJsonDepthLimit);
    EXPECT_EQ(parseJson(jsonText(value), storedJsonDepthLimit), value);
}

}  // namespace
}  // namespace harvelstone::platform
