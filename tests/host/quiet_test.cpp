#include <chrono>
#include <functional>
#include <thread>

#include "tests/host/HostTest.hpp"

namespace harvelstone::testing {
namespace {

using std::chrono::steady_clock;

bool becomesTrue(const std::function<bool()>& condition) {
    const auto end = steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));  // leaves the processor to the host under test
    }
    return true;
}

/// How often the threads gave the processor up in a second.
long switchesInASecond(const HostProcess& app, const std::string& threadName) {
    const auto before = app.voluntarySwitches(threadName);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return app.voluntarySwitches(threadName) - before;
}

using QuietHost = HostTest;

TEST_F(QuietHost, HasNoThreadOfOursAndIsNeverWokenUp) {
    HostProcess app(HOST_APP, {server_.url(), documents_.path(), "quiet"});
    EXPECT_EQ(app.nextLine(), "begun");
    const auto threadsBefore = app.threadCount();
    app.goOn();
    EXPECT_EQ(app.nextLine(), "sent");
    EXPECT_GT(app.threadCount(), threadsBefore) << "a worker waits a while for the next upload";
    EXPECT_TRUE(becomesTrue([&] { return app.threadCount() == threadsBefore; }));
    EXPECT_EQ(switchesInASecond(app, "host_app"), 0);
    app.goOn();
    EXPECT_TRUE(app.waitForEnd().isExit(0));
}

TEST_F(QuietHost, IsNotWokenUpByAWorkerThatWaitsForTheNextUpload) {
    HostProcess app(HOST_APP, {server_.url(), documents_.path(), "quiet"});
    EXPECT_EQ(app.nextLine(), "begun");
    app.goOn();
    EXPECT_EQ(app.nextLine(), "sent");
    // The removal of the sent document's files is the last that is to be done.
    const auto removed = [&] { return app.voluntarySwitches("harvelstone") > 0; };
    EXPECT_TRUE(becomesTrue(removed));
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(switchesInASecond(app, "harvelstone"), 0);
    EXPECT_GT(app.voluntarySwitches("harvelstone"), 0) << "the workers still wait";
}

}  // namespace
}  // namespace harvelstone::testing
