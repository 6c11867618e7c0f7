#include "harvelstone/services/Tracker.hpp"

#include <gtest/gtest.h>

namespace harvelstone {
namespace {

TEST(Tracker, IsOnePerProcess) { EXPECT_EQ(&Tracker::sharedInstance(), &Tracker::sharedInstance()); }

TEST(Tracker, HasNoCustomPushDataAtStart) { EXPECT_EQ(Tracker::sharedInstance().customPushMapData(), std::nullopt); }

TEST(Tracker, HandsOutTheCustomPushData) {
    auto& tracker = Tracker::sharedInstance();
    tracker.setCustomPushMapData(Dictionary{{"key", "value"}});
    EXPECT_EQ(tracker.customPushMapData(), (Dictionary{{"key", "value"}}));
    tracker.setCustomPushMapData(Dictionary());
    EXPECT_EQ(tracker.customPushMapData(), Dictionary());
    tracker.setCustomPushMapData(std::nullopt);
    EXPECT_EQ(tracker.customPushMapData(), std::nullopt);
}

TEST(Tracker, HandsOutCopiesOfTheCustomPushData) {
    auto& tracker = Tracker::sharedInstance();
    tracker.setCustomPushMapData(Dictionary{{"key", "value"}});
    auto copy = tracker.customPushMapData();
    copy->clear();
    EXPECT_EQ(tracker.customPushMapData(), (Dictionary{{"key", "value"}}));
}

TEST(Tracker, KnowsOfNoTrafficLimitAtStart) { EXPECT_FALSE(Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded); }

TEST(PageMap, IsTheSameForEveryUser) {
    Tracker::sharedInstance().getCurrentPageMap()->putGoalMapData({{"goal", 1}});
    EXPECT_EQ(Tracker::sharedInstance().getCurrentPageMap()->goalMapData(), (Dictionary{{"goal", 1}}));
}

TEST(PageMap, ForgetsItsGoalData) {
    PageMap page;
    EXPECT_EQ(page.goalMapData(), Dictionary());
    page.putGoalMapData({{"goal", 1}});
    page.clearGoalMapData();
    EXPECT_EQ(page.goalMapData(), Dictionary());
}

}  // namespace
}  // namespace harvelstone
