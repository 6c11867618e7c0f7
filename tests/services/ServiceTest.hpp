#pragma once

#include <cstdlib>
#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "harvelstone/platform/Exception.hpp"

#include "tests/support/ServicesFixture.hpp"

namespace harvelstone::testing {

/// The host's time zone, as the TZ variable names it.
inline void setTimeZone(const char* zone) {
    setenv("TZ", zone, /*replace=*/1);
    tzset();
}

/// The reason of the InvalidArgumentException that the call raises; a failure when it raises none.
template <typename Call>
std::string refusal(Call call) {
    try {
        call();
    } catch (const platform::InvalidArgumentException& exception) {
        return exception.reason();
    }
    ADD_FAILURE() << "nothing was raised";
    return {};
}

/// Real services on a faked machine.
class ServiceTest : public ::testing::Test {
  protected:
    Machine machine;
};

/// Services over several lives of an app; the test makes a machine in each.
class LivesTest : public ::testing::Test {
  protected:
    TemporaryFolder documents;
};

}  // namespace harvelstone::testing
