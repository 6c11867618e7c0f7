#include "tools/keys.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "harvelstone/services/Constants.hpp"

namespace harvelstone::tools {

namespace {

TEST(Keys, JsonHoldsEveryAccessorOfBothClasses) {
    const auto keys = nlohmann::json::parse(keysJson());
    EXPECT_EQ(keys.size(), 2U);
    EXPECT_EQ(keys["StaticValues"].size(), staticValuesTable().size());
    EXPECT_EQ(keys["StaticValues"]["PARAM_AK"], "app_key");
    EXPECT_EQ(keys["StaticValues"]["DOCUMENT_DB_NAME"], "DocumentDB");
    EXPECT_EQ(keys["TrackType"].size(), 7U);
    EXPECT_EQ(keys["TrackType"]["TYPE_SESSION"], "session");
}

TEST(Keys, TextHoldsOneLineForEachAccessor) {
    const auto text = keysText();
    EXPECT_THAT(text, ::testing::HasSubstr("\n  PARAM_IS_WEEKELY_US "));
    EXPECT_THAT(text, ::testing::HasSubstr("\nTrackType\n  TYPE_SESSION   session\n"));
    EXPECT_EQ(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')),
              staticValuesTable().size() + trackTypeTable().size() + 2);
}

}  // namespace

}  // namespace harvelstone::tools
