#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harvelstone/services/BSDebugger.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BSDebuggerTest : public ::testing::Test {
  protected:
    TestPlatform machine;
};

TEST_F(BSDebuggerTest, IsOffAtStart) {
    EXPECT_FALSE(BSDebugger::isEnabled());
    BSDebugger::log("DEBUG_HARVELSTONE_CONFIG : unseen");
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(BSDebuggerTest, WritesLinesAsTheyAre) {
    BSDebugger::setEnabled(true);
    BSDebugger::log("DEBUG_HARVELSTONE_CONFIG : 100 % {} %@ ");
    BSDebugger::log("");
    EXPECT_THAT(machine.log->lines(), ElementsAre("DEBUG_HARVELSTONE_CONFIG : 100 % {} %@ ", ""));
    EXPECT_THAT(machine.log->platformLines(), IsEmpty());
}

TEST_F(BSDebuggerTest, CanBeSwitchedOffAgain) {
    BSDebugger::setEnabled(true);
    BSDebugger::setEnabled(false);
    BSDebugger::log("unseen");
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(BSDebuggerTest, MakesACostlyLineOnlyWhenItIsWritten) {
    int made = 0;
    const auto line = [&] { return "line " + std::to_string(++made); };
    BSDebugger::log(line);
    EXPECT_EQ(made, 0);
    BSDebugger::setEnabled(true);
    BSDebugger::log(line);
    EXPECT_THAT(machine.log->lines(), ElementsAre("line 1"));
}

}  // namespace
}  // namespace harvelstone::testing
