#include "harvelstone/services/Setting.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

constexpr Setting table[] = {
    {"text"},
    {"flag", SettingKind::boolean},
    {"count", SettingKind::integer},
};

TEST(Settings, FitTheirKind) {
    EXPECT_NO_THROW(checkSettings(table, {{"text", ""}, {"flag", false}, {"count", -1}}));
    EXPECT_NO_THROW(checkSettings(table, {{"text", 1}}));
    EXPECT_NO_THROW(checkSettings(table, {{"text", 1.5}}));
}

TEST(Settings, MayAllBeCleared) {
    EXPECT_NO_THROW(checkSettings(table, {{"text", nullptr}, {"flag", nullptr}, {"count", nullptr}}));
}

TEST(Settings, AreRefusedByNameWhenTheyDoNotFit) {
    EXPECT_EQ(refusal([] {
                  checkSettings(table, {{"text", false}});
              }),
              "the setting \"text\" must be a string or a number");
    EXPECT_EQ(refusal([] { checkSettings(table, {{"flag", "true"}}); }), "the setting \"flag\" must be a boolean");
    EXPECT_EQ(refusal([] { checkSettings(table, {{"count", 1.0}}); }), "the setting \"count\" must be a whole number");
    EXPECT_EQ(refusal([] { checkSettings(table, {{"count", true}}); }), "the setting \"count\" must be a whole number");
}

TEST(Settings, AreRefusedWhenTheyAreUnknownEvenWithoutAValue) {
    EXPECT_EQ(refusal([] { checkSettings(table, {{"other", nullptr}}); }), "there is no setting \"other\"");
}

}  // namespace
}  // namespace harvelstone::testing
