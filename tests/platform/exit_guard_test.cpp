#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/ExitGuard.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"

#include "tests/support/LoopbackServer.hpp"

namespace harvelstone::testing {
namespace {

using platform::ExitGuard;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::ExitedWithCode;

// What the exit of a child process finds at its very end.
std::atomic<bool> didGoOn = false;
std::atomic<steady_clock::time_point> exitBegan;

/// Ends the child with 1 if its exit took longer than a user would forgive, with 2 if guarded work went on.
void judgeExitAtItsEnd() {
    std::atexit([] {
        if (didGoOn) _exit(2);
        if (steady_clock::now() - exitBegan.load() > milliseconds(100)) _exit(1);
    });
}

[[noreturn]] void beginExit() {
    exitBegan = steady_clock::now();
    std::exit(0);
}

TEST(GuardedWork, ParksWhenTheProcessExits) {
    const auto exitAtWork = [] {
        judgeExitAtItsEnd();
        ExitGuard::watchForExit();
        std::promise<void> isAtWork;
        std::promise<void> wokenUp;
        std::thread([&] {
            ExitGuard guard([&] { wokenUp.set_value(); });
            isAtWork.set_value();
            wokenUp.get_future().wait();
            guard.parkIfExiting();
            didGoOn = true;
        }).detach();
        isAtWork.get_future().wait();
        beginExit();
    };
    EXPECT_EXIT(exitAtWork(), ExitedWithCode(0), "");
}

TEST(GuardedWork, IsNotWaitedForLongWhenItDoesNotPark) {
    const auto exitAtWork = [] {
        judgeExitAtItsEnd();
        ExitGuard::watchForExit();
        std::promise<void> isAtWork;
        std::thread([&] {
            const ExitGuard guard([] {});
            isAtWork.set_value();
            for (;;) pause();
        }).detach();
        isAtWork.get_future().wait();
        beginExit();
    };
    EXPECT_EXIT(exitAtWork(), ExitedWithCode(0), "");
}

TEST(GuardedWork, ThatIsOverDelaysNothing) {
    const auto exitAfterWork = [] {
        judgeExitAtItsEnd();
        ExitGuard::watchForExit();
        {
            ExitGuard guard([] { didGoOn = true; });
            guard.parkIfExiting();
            EXPECT_FALSE(guard.isExiting());
        }
        beginExit();
    };
    EXPECT_EXIT(exitAfterWork(), ExitedWithCode(0), "");
}

TEST(GuardedWork, OfAParentIsNothingToAForkedChild) {
    ExitGuard::watchForExit();
    const ExitGuard guard([] { didGoOn = true; });
    const auto child = fork();
    if (child == 0) std::exit(didGoOn ? 2 : 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_FALSE(didGoOn);
}

/// Starts an upload in this process and gives control back while the server leaves it without an answer.
void leaveUploadUnanswered(platform::CurlHttpClient& client, platform::Workers& workers) {
    static std::promise<void> hasArrived;
    static LoopbackServer server({[](WireConnection& connection) {
        connection.readBody();
        hasArrived.set_value();
        connection.waitForHangUp();
    }});
    platform::HttpRequest request;
    request.url = server.url();
    request.method = "POST";
    request.body = std::make_shared<platform::MemoryBodyStream>("abc");
    client.sendAsynchronousRequest(request, workers.newOperationQueue(),
                                   [](const auto&, const auto&, const auto&) { didGoOn = true; });
    hasArrived.get_future().wait();
}

TEST(Upload, DoesNotHoldUpTheExitOfItsHostNorComplete) {
    const auto exitInUpload = [] {
        judgeExitAtItsEnd();
        auto* client = new platform::CurlHttpClient;
        auto* workers = new platform::WorkerThreads;
        leaveUploadUnanswered(*client, *workers);
        beginExit();
    };
    EXPECT_EXIT(exitInUpload(), ExitedWithCode(0), "");
}

TEST(Upload, DoesNotDisturbAHostThatDestroysItsClientAtExit) {
    const auto exitInUpload = [] {
        judgeExitAtItsEnd();
        static platform::CurlHttpClient client;
        static platform::WorkerThreads workers;
        leaveUploadUnanswered(client, workers);
        beginExit();
    };
    EXPECT_EXIT(exitInUpload(), ExitedWithCode(0), "");
}

TEST(Upload, LeavesAHostToTheSignalThatEndsIt) {
    const auto killInUpload = [] {
        auto* client = new platform::CurlHttpClient;
        auto* workers = new platform::WorkerThreads;
        leaveUploadUnanswered(*client, *workers);
        kill(getpid(), SIGTERM);
        for (;;) pause();
    };
    EXPECT_EXIT(killInUpload(), ::testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
}  // namespace harvelstone::testing
