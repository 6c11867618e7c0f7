#include "harvelstone/services/HarvelstonePostback.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

HarvelstonePostback& postback() { return HarvelstonePostback::sharedInstance(); }

using HarvelstonePostbackTest = ServiceTest;
using HarvelstonePostbackLives = LivesTest;

TEST_F(HarvelstonePostbackTest, IsOnePerProcess) { EXPECT_EQ(&postback(), &postback()); }

TEST_F(HarvelstonePostbackTest, IsEmptyOnAFreshInstall) { EXPECT_EQ(postback().getPostbackJosn(), Dictionary()); }

TEST_F(HarvelstonePostbackTest, GivesTheHostsDataAndTheReferrer) {
    postback().setPostbackData({{"partner", "P"}, {"click", 7}});
    postback().setPostbackReferrer("https://example.com");
    EXPECT_EQ(postback().getPostbackJosn(),
              (Dictionary{{"partner", "P"}, {"click", 7}, {"referrer", "https://example.com"}}));
}

TEST_F(HarvelstonePostbackTest, ForgetsTheReferrerAlone) {
    postback().setPostbackData({{"partner", "P"}});
    postback().setPostbackReferrer("https://example.com");
    postback().removePostbackReferrer();
    EXPECT_EQ(postback().getPostbackJosn(), (Dictionary{{"partner", "P"}}));
}

TEST_F(HarvelstonePostbackTest, CountsAnEmptyReferrerAsPresent) {
    postback().setPostbackReferrer("");
    EXPECT_EQ(postback().getPostbackJosn(), (Dictionary{{"referrer", ""}}));
}

TEST_F(HarvelstonePostbackTest, WritesNothingWhenThereIsNoReferrerToForget) {
    postback().removePostbackReferrer();
    EXPECT_THAT(machine.storedFiles(), ::testing::IsEmpty());
}

TEST_F(HarvelstonePostbackTest, ReplacesTheHostsData) {
    postback().setPostbackData({{"partner", "P"}});
    postback().setPostbackData({{"other", "O"}});
    EXPECT_EQ(postback().getPostbackJosn(), (Dictionary{{"other", "O"}}));
}

TEST_F(HarvelstonePostbackLives, KeepsDataAndReferrerOverARestart) {
    life([&] {
        const Machine machine(documents.path());
        postback().setPostbackData({{"partner", "P"}});
        postback().setPostbackReferrer("R");
    });
    life([&] {
        const Machine machine(documents.path());
        EXPECT_EQ(postback().getPostbackJosn(), (Dictionary{{"partner", "P"}, {"referrer", "R"}}));
        postback().removePostbackReferrer();
    });
    life([&] {
        const Machine machine(documents.path());
        EXPECT_EQ(postback().getPostbackJosn(), (Dictionary{{"partner", "P"}}));
    });
}

TEST_F(HarvelstonePostbackTest, LiesInTheFileThatPruningSpares) {
    postback().setPostbackReferrer("R");
    EXPECT_THAT(machine.storedFiles(), ::testing::ElementsAre("postbackDB.Harvelstone"));
}

}  // namespace
}  // namespace harvelstone::testing
