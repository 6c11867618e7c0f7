#include "harvelstone/platform/Result.hpp"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

namespace harvelstone::platform {
namespace {

const auto noSpace = std::make_error_code(std::errc::no_space_on_device);

TEST(Result, HoldsAValue) {
    Result<std::string> result(std::string("text"));
    EXPECT_TRUE(result.ok());
    EXPECT_TRUE(static_cast<bool>(result));
    EXPECT_EQ(*result, "text");
    EXPECT_EQ(result->size(), 4U);
    EXPECT_FALSE(result.error());
}

TEST(Result, HoldsAnError) {
    const Result<std::string> result(noSpace);
    EXPECT_FALSE(result.ok());
    EXPECT_FALSE(static_cast<bool>(result));
    EXPECT_EQ(result.error(), noSpace);
}

TEST(Result, HandsAValueOver) {
    Result<std::unique_ptr<int>> result(std::make_unique<int>(5));
    const auto taken = *std::move(result);
    EXPECT_EQ(*taken, 5);
}

TEST(Result, OfNothingIsGoodOrAnError) {
    EXPECT_TRUE(Result<void>().ok());
    EXPECT_TRUE(static_cast<bool>(Result<void>()));
    EXPECT_FALSE(Result<void>(noSpace).ok());
    EXPECT_EQ(Result<void>(noSpace).error(), noSpace);
}

}  // namespace
}  // namespace harvelstone::platform
