#include <string>

#include "tests/host/Ending.hpp"
#include "tests/host/HostTest.hpp"

namespace harvelstone::testing {
namespace {

/// A host that unloads the plug-in with the library in it, and goes on.
class Unloading : public HostTest, public ::testing::WithParamInterface<const char*> {
  protected:
    std::vector<std::string> arguments(const std::string& function = "begin") const {
        return {GetParam(), function, server_.url(), documents_.path()};
    }

    static void unload(HostProcess& host) {
        host.goOn();
        EXPECT_TRUE(host.hasSaid({"unloaded"}));
    }

    static void finish(HostProcess& host) {
        host.goOn();
        const auto end = host.waitForEnd();
        EXPECT_TRUE(end.isExit(0)) << "status " << end.status;
    }
};

/// Nothing of it runs, so that nothing but our own wish keeps the code.
TEST_P(Unloading, LeavesTheCodeInMemory) {
    HostProcess host(HOST_LOADER, arguments("configure"));
    EXPECT_TRUE(host.hasSaid({"ready"}));
    unload(host);
    EXPECT_TRUE(host.hasMapped(std::string(GetParam()) == HOST_STATIC_PLUGIN ? GetParam() : HOST_SHARED_LIBRARY));
    finish(host);
}

TEST_P(Unloading, InMidUploadLeavesTheUploadToItsEnd) {
    HeldAnswer held;
    server_.setScript({held.behaviour(answerText("200 OK", "{}")), answers("200 OK", "{}")});
    HostProcess host(HOST_LOADER, arguments());
    EXPECT_TRUE(host.hasSaid({"ready"}));
    EXPECT_TRUE(held.hasArrived());
    unload(host);
    held.letGo();
    EXPECT_EQ(server_.waitForRequests(2).size(), 2U) << "the answer was handled, and the next document sent";
    finish(host);
}

TEST_P(Unloading, InMidUploadDoesNotHoldUpTheExit) {
    HeldAnswer held;
    server_.setScript({held.behaviour()});
    HostProcess host(HOST_LOADER, arguments());
    EXPECT_TRUE(host.hasSaid({"ready"}));
    EXPECT_TRUE(held.hasArrived());
    unload(host);
    finish(host);
}

TEST_P(Unloading, WhileARepeatWaitsLeavesTheRepeatToItsTime) {
    server_.setScript({answers("200 OK", R"({"retry":true})"), answers("200 OK", "{}")});
    HostProcess host(HOST_LOADER, arguments());
    EXPECT_TRUE(host.hasSaid({"ready"}));
    EXPECT_TRUE(host.hasSaid(linesWhenRepeatWaits()));
    unload(host);
    EXPECT_GE(server_.waitForRequests(3).size(), 3U);
    finish(host);
}

TEST_P(Unloading, WhileARemovalWaitsLeavesTheRemovalToItsTime) {
    HostProcess host(HOST_LOADER, arguments());
    EXPECT_TRUE(host.hasSaid({"ready"}));
    EXPECT_TRUE(host.hasSaid(linesWhenRemovalsWait()));
    unload(host);
    EXPECT_TRUE(becomesTrue([&] { return storedDocuments() == 1; })) << "the current one, none of those that were sent";
    finish(host);
}

INSTANTIATE_TEST_SUITE_P(PlugIns, Unloading, ::testing::Values(HOST_STATIC_PLUGIN, HOST_SHARED_PLUGIN),
                         [](const auto& plugIn) { return plugIn.index == 0 ? "Static" : "Shared"; });

}  // namespace
}  // namespace harvelstone::testing
