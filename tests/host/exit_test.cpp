#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>

#include "tests/host/Ending.hpp"
#include "tests/support/LoopbackServer.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

std::string nameOf(const ::testing::TestParamInfo<Ending>& info) {
    return info.param.moment + "_" + (info.param.way == "_exit" ? "at_once" : info.param.way) +
           (info.param.isOverTls ? "_over_tls" : "");
}

using ExitOfTheHost = ::testing::TestWithParam<Ending>;

/// A stall of the library's own comes every time. One that comes from a machine with too much to do does not, so the
/// shortest of three counts, or of more while even that is too long; the longest is shown.
TEST_P(ExitOfTheHost, IsOrderlyAndTakesNoTime) {
    constexpr milliseconds limit{100};
    microseconds shortest = std::chrono::hours(1);
    microseconds longest{0};
    for (int time = 0; time < 3 || (shortest >= limit && time < 10); ++time) {
        const auto end = endOnce(GetParam());
        EXPECT_TRUE(isOrderly(end, GetParam().way)) << "status " << end.status;
        ASSERT_TRUE(end.stall);
        shortest = std::min(shortest, *end.stall);
        longest = std::max(longest, *end.stall);
    }
    EXPECT_LT(shortest, limit);
    std::cout << "longest stall at exit: " << longest.count() << " us\n";
}

/// A host in whose exit the library is still put to work, by handlers of the host's or by a thread that goes on.
using LastMinute = ::testing::TestWithParam<const char*>;

TEST_P(LastMinute, LeavesTheEndToTheHost) {
    const LoopbackServer server;
    for (int time = 0; time < 4; ++time) {
        const TemporaryFolder documents;
        HostProcess app(HOST_APP, {server.url(), documents.path(), "last minute", GetParam()});
        const auto end = app.waitForEnd();
        ASSERT_TRUE(end.isExit(0)) << "status " << end.status;
    }
}

INSTANTIATE_TEST_SUITE_P(Deeds, LastMinute, ::testing::Values("first_answer", "answers", "first_upload", "record"),
                         [](const auto& deed) { return deed.param; });

INSTANTIATE_TEST_SUITE_P(Moments, ExitOfTheHost, ::testing::ValuesIn(everyEnding()), nameOf);

}  // namespace
}  // namespace harvelstone::testing
