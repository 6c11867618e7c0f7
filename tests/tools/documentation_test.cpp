// What the pages of docs/ show is what the command takes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/json_lines.hpp"
#include "tools/scenario.hpp"
#include "tools/scripted_replies.hpp"

namespace harvelstone::tools {

namespace {

using ::testing::HasSubstr;

std::string page(const std::string& name) { return readTextFile(HARVELSTONE_SOURCE_DIR "/docs/" + name); }

/// The first block of JSON Lines on the page.
std::string example(const std::string& text) {
    const std::string fence = "```jsonl\n";
    const auto begin = text.find(fence) + fence.size();
    return text.substr(begin, text.find("```", begin) - begin);
}

TEST(Documentation, TheScenarioExampleIsAScenario) {
    EXPECT_EQ(parseScenario(example(page("scenario.md")), "scenario.md").steps.size(), 7U);
}

TEST(Documentation, EveryStepIsDescribed) {
    const auto text = page("scenario.md");
    for (const auto name : stepNames()) EXPECT_THAT(text, HasSubstr("`" + std::string(name) + "`"));
}

TEST(Documentation, TheRepliesExampleIsAScript) {
    EXPECT_EQ(parseReplies(example(page("collect.md")), "collect.md").size(), 4U);
}

}  // namespace

}  // namespace harvelstone::tools
