#include "harvelstone/api/c_call.hpp"

#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>

namespace harvelstone {
namespace {

template <typename Exception>
harvelstone_status statusOfRaising(const Exception& exception) {
    return statusOf([&] { throw exception; });
}

TEST(StatusOf, AnOperationThatReturnsIsOk) {
    bool hasRun = false;
    EXPECT_EQ(statusOf([&] { hasRun = true; }), HARVELSTONE_OK);
    EXPECT_TRUE(hasRun);
}

TEST(StatusOf, ARefusedArgumentIsInvalidForTheReasonGiven) {
    EXPECT_EQ(statusOfRaising(platform::InvalidArgumentException("the name is empty")), HARVELSTONE_INVALID_ARGUMENT);
    EXPECT_STREQ(harvelstone_last_error(), "the name is empty");
}

TEST(StatusOf, AMissOfMemoryIsOutOfMemory) {
    EXPECT_EQ(statusOfRaising(std::bad_alloc()), HARVELSTONE_OUT_OF_MEMORY);
    EXPECT_STREQ(harvelstone_last_error(), "out of memory");
    EXPECT_EQ(statusOfRaising(std::bad_array_new_length()), HARVELSTONE_OUT_OF_MEMORY);
}

TEST(StatusOf, AnyOtherExceptionOfTheStandardsKindHasFailedForWhatItSays) {
    EXPECT_EQ(statusOfRaising(std::runtime_error("the machine is on fire")), HARVELSTONE_FAILED);
    EXPECT_STREQ(harvelstone_last_error(), "the machine is on fire");
}

TEST(StatusOf, AnExceptionOfOursThatIsNoRefusalHasFailed) {
    EXPECT_EQ(statusOfRaising(platform::RangeException("index 3 of 2")), HARVELSTONE_FAILED);
    EXPECT_NE(std::string(harvelstone_last_error()).find("index 3 of 2"), std::string::npos);
}

TEST(StatusOf, WhateverElseIsThrownHasFailed) {
    EXPECT_EQ(statusOfRaising(7), HARVELSTONE_FAILED);
    EXPECT_STREQ(harvelstone_last_error(), "an exception of an unknown kind");
}

}  // namespace
}  // namespace harvelstone
