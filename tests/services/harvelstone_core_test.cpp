#include <gtest/gtest.h>

#include "harvelstone/services/HarvelstoneCore.hpp"

namespace harvelstone {
namespace {

TEST(HarvelstoneCore, HasNoFlagSetAtStart) {
    EXPECT_FALSE(HarvelstoneCore::getFlagSdkLockState());
    EXPECT_FALSE(HarvelstoneCore::getAppOpenFlag());
    EXPECT_FALSE(HarvelstoneCore::getFlagUseImei());
}

TEST(HarvelstoneCore, KeepsTheLockStateApart) {
    HarvelstoneCore::setFlagSdkLockState(true);
    EXPECT_TRUE(HarvelstoneCore::getFlagSdkLockState());
    EXPECT_FALSE(HarvelstoneCore::getAppOpenFlag());
    EXPECT_FALSE(HarvelstoneCore::getFlagUseImei());
    HarvelstoneCore::setFlagSdkLockState(false);
    EXPECT_FALSE(HarvelstoneCore::getFlagSdkLockState());
}

TEST(HarvelstoneCore, KeepsTheAppOpenFlagApart) {
    HarvelstoneCore::setAppOpenFlag(true);
    EXPECT_TRUE(HarvelstoneCore::getAppOpenFlag());
    EXPECT_FALSE(HarvelstoneCore::getFlagSdkLockState());
    EXPECT_FALSE(HarvelstoneCore::getFlagUseImei());
    HarvelstoneCore::setAppOpenFlag(false);
    EXPECT_FALSE(HarvelstoneCore::getAppOpenFlag());
}

TEST(HarvelstoneCore, KeepsTheUseOfTheImeiApart) {
    HarvelstoneCore::setFlagUseImei(true);
    EXPECT_TRUE(HarvelstoneCore::getFlagUseImei());
    EXPECT_FALSE(HarvelstoneCore::getFlagSdkLockState());
    EXPECT_FALSE(HarvelstoneCore::getAppOpenFlag());
    HarvelstoneCore::setFlagUseImei(false);
    EXPECT_FALSE(HarvelstoneCore::getFlagUseImei());
}

}  // namespace
}  // namespace harvelstone
