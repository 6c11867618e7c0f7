#include "tools/scripted_replies.hpp"

#include <gtest/gtest.h>

#include "tools/exit_codes.hpp"

namespace harvelstone::tools {

namespace {

std::string wrongUseOf(const std::string& text) {
    try {
        parseReplies(text, "replies.jsonl");
    } catch (const WrongUse& error) {
        return error.what();
    }
    return "accepted";
}

TEST(ScriptedReplies, ReadsEveryMember) {
    const auto replies = parseReplies(
        "# one\n{\"status\": 503, \"body\": \"busy\", \"delay\": 0.5}\n{\"body\": {\"retry\": true}}\n{\"close\": "
        "true}\n",
        "replies.jsonl");
    ASSERT_EQ(replies.size(), 3U);
    EXPECT_EQ(replies[0].status, 503);
    EXPECT_EQ(replies[0].body, "busy");
    EXPECT_EQ(replies[0].delay.count(), 0.5);
    EXPECT_FALSE(replies[0].closesWithoutAnswer);
    EXPECT_EQ(replies[1].status, 200);
    EXPECT_EQ(replies[1].body, "{\"retry\":true}");
    EXPECT_TRUE(replies[2].closesWithoutAnswer);
}

TEST(ScriptedReplies, ClosingHasLongNamesToo) {
    for (const std::string name : {"close", "close-without-answer", "close_without_answer", "closeWithoutAnswer"}) {
        SCOPED_TRACE(name);
        const auto replies = parseReplies("{\"" + name + "\": true}\n{\"" + name + "\": false}\n", "replies.jsonl");
        ASSERT_EQ(replies.size(), 2U);
        EXPECT_TRUE(replies[0].closesWithoutAnswer);
        EXPECT_FALSE(replies[1].closesWithoutAnswer);
    }
}

TEST(ScriptedReplies, ABodyMayBeAnyJson) {
    const auto replies =
        parseReplies("{\"body\": []}\n{\"body\": 7}\n{\"body\": \"\"}\n{\"body\": null}\n{}\n", "replies.jsonl");
    ASSERT_EQ(replies.size(), 5U);
    EXPECT_EQ(replies[0].body, "[]");
    EXPECT_EQ(replies[1].body, "7");
    EXPECT_EQ(replies[2].body, "");
    EXPECT_EQ(replies[3].body, "{}");
    EXPECT_EQ(replies[4].body, "{}");
}

TEST(ScriptedReplies, RefusesWrongLinesWithTheirNumbers) {
    EXPECT_EQ(wrongUseOf("{}\n[]\n"), "replies.jsonl:2: the line is no JSON object");
    EXPECT_EQ(wrongUseOf("{\"status\": 99}"), "replies.jsonl:1: \"status\" must be a whole number from 200 to 599");
    EXPECT_EQ(wrongUseOf("{\"status\": \"200\"}"),
              "replies.jsonl:1: \"status\" must be a whole number from 200 to 599");
    EXPECT_EQ(wrongUseOf("{\"delay\": -1}"), "replies.jsonl:1: \"delay\" must be a number of seconds from 0 to 3600");
    EXPECT_EQ(wrongUseOf("{\"close\": 1}"), "replies.jsonl:1: \"close\" must be true or false");
    EXPECT_EQ(wrongUseOf("{\"statu\": 200}"), "replies.jsonl:1: \"statu\" is no member of a reply");
}

TEST(ScriptedReplies, TheLastOneRepeats) {
    ReplyScript script(parseReplies("{\"body\": \"a\"}\n{\"body\": \"b\"}\n", "replies.jsonl"));
    EXPECT_EQ(script.next().body, "a");
    EXPECT_EQ(script.next().body, "b");
    EXPECT_EQ(script.next().body, "b");
}

TEST(ScriptedReplies, WithoutAnyTheDefaultRepeats) {
    ReplyScript script({});
    EXPECT_EQ(script.next().body, "{}");
    EXPECT_EQ(script.next().status, 200);
}

}  // namespace

}  // namespace harvelstone::tools
