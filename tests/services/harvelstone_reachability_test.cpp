#include "harvelstone/services/HarvelstoneReachability.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

using HarvelstoneReachabilityTest = ServiceTest;

TEST_F(HarvelstoneReachabilityTest, AsksTheDeviceEachTime) {
    machine.device->connected = true;
    EXPECT_TRUE(HarvelstoneReachability::isConnectedToNetwork());
    machine.device->connected = false;
    EXPECT_FALSE(HarvelstoneReachability::isConnectedToNetwork());
    machine.device->connected = true;
    EXPECT_TRUE(HarvelstoneReachability::isConnectedToNetwork());
}

}  // namespace
}  // namespace harvelstone::testing
