#include <chrono>
#include <thread>

#include "tests/host/HostTest.hpp"

namespace harvelstone::testing {
namespace {

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

/// The removal of the sent document's files is the last that is to be done; from then on nothing wakes a thread.
TEST_F(QuietHost, IsNotWokenUpByWorkersThatWaitForTheNextUpload) {
    HostProcess app(HOST_APP, {server_.url(), documents_.path(), "quiet with patient workers"});
    EXPECT_EQ(app.nextLine(), "begun");
    app.goOn();
    EXPECT_EQ(app.nextLine(), "sent");
    EXPECT_TRUE(becomesTrue([&] { return storedDocuments() == 1; }));
    EXPECT_TRUE(becomesTrue([&] { return switchesInASecond(app, "harvelstone") == 0; }));
    EXPECT_GT(app.voluntarySwitches("harvelstone"), 0) << "the workers still wait";
}

}  // namespace
}  // namespace harvelstone::testing
