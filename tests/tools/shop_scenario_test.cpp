#include "tools/shop_scenario.hpp"

#include <algorithm>
#include <gtest/gtest.h>

#include "tools/json_lines.hpp"
#include "tools/scenario.hpp"
#include "tools/scripted_replies.hpp"

namespace harvelstone::tools {

namespace {

std::string exampleFile(const std::string& name) { return readTextFile(HARVELSTONE_SOURCE_DIR "/examples/" + name); }

TEST(ShopScenario, TheCommandHoldsTheExamples) {
    EXPECT_EQ(shopScenario(), exampleFile("shop.jsonl"));
    EXPECT_EQ(shopReplies(), exampleFile("shop_replies.jsonl"));
}

TEST(ShopScenario, HasWhatAShopReports) {
    const auto steps = parseScenario(shopScenario(), "shop.jsonl").steps;
    const auto count = [&](std::string_view name) {
        return std::count_if(steps.begin(), steps.end(), [&](const auto& step) { return step.name == name; });
    };
    EXPECT_GE(count("startSession"), 5);
    EXPECT_GE(count("pageProgress"), 2);
    EXPECT_GE(count("revenue"), 2);
    EXPECT_GE(count("putGoal"), 2);
    for (const auto* name : {"putInstallData", "page", "click", "push", "setEvent", "setCampaign", "updateDocument",
                             "network", "sendClickDataImmediately", "sendGoalDataImmediately"}) {
        EXPECT_GE(count(name), 1) << name;
    }
}

TEST(ShopScenario, OneReplyAsksForARepeat) {
    const auto replies = parseReplies(shopReplies(), "shop_replies.jsonl");
    EXPECT_EQ(std::count_if(replies.begin(), replies.end(),
                            [](const auto& reply) { return reply.body == R"({"retry":true})"; }),
              1);
}

}  // namespace

}  // namespace harvelstone::tools
