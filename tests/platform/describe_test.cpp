#include "harvelstone/platform/Describe.hpp"

#include <gtest/gtest.h>

namespace harvelstone::platform {
namespace {

TEST(Describe, ShowsTextAsItIs) {
    EXPECT_EQ(describe(std::string("say \"hi\"\n")), "say \"hi\"\n");
    EXPECT_EQ(describe(Value("say \"hi\"\n")), "say \"hi\"\n");
    EXPECT_EQ(describe(std::string()), "");
}

TEST(Describe, ShowsANumberInDecimal) {
    EXPECT_EQ(describe(Value(-17)), "-17");
    EXPECT_EQ(describe(Value(1.5)), "1.5");
    EXPECT_EQ(describe(Value(42.0)), "42.0");
}

TEST(Describe, ShowsABooleanAsJson) {
    EXPECT_EQ(describe(Value(true)), "true");
    EXPECT_EQ(describe(Value(false)), "false");
}

TEST(Describe, ShowsContainersAsCompactJson) {
    const Dictionary dictionary{{"b", List{1, "x", nullptr}}, {"a", "\""}};
    EXPECT_EQ(describe(dictionary), R"({"a":"\"","b":[1,"x",null]})");
    EXPECT_EQ(describe(Value(dictionary)), describe(dictionary));
    EXPECT_EQ(describe(Value(List{true})), "[true]");
}

TEST(Describe, ShowsTextsAsACompactList) {
    EXPECT_EQ(describe(std::vector<std::string>{"a b", "c\"d"}), R"(["a b","c\"d"])");
    EXPECT_EQ(describe(std::vector<std::string>()), "[]");
    EXPECT_EQ(describe(std::vector<std::string>{"\xFF"}), "[\"\xEF\xBF\xBD\"]");
}

TEST(Describe, ShowsAnExceptionOrErrorAsItsReason) {
    EXPECT_EQ(describe(Exception("why")), "why");
    EXPECT_EQ(describe(static_cast<const Exception&>(RangeException("index 4"))), "index 4");
    EXPECT_EQ(describe(std::make_error_code(std::errc::no_space_on_device)), "No space left on device");
}

TEST(Describe, ShowsTheAbsent) {
    EXPECT_EQ(describe(std::optional<std::string>()), "(null)");
    EXPECT_EQ(describe(std::optional<Value>()), "(null)");
    EXPECT_EQ(describe(std::optional<Dictionary>()), "(null)");
    EXPECT_EQ(describe(Value()), "(null)");
}

TEST(Describe, ShowsWhatIsPresentLikeTheThingItself) {
    EXPECT_EQ(describe(std::optional<std::string>("")), "");
    EXPECT_EQ(describe(std::optional<Value>(Value(3))), "3");
    EXPECT_EQ(describe(std::optional<Dictionary>(Dictionary())), "{}");
}

}  // namespace
}  // namespace harvelstone::platform
