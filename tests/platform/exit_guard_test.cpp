#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <openssl/crypto.h>
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

// What the exit of a child process finds at its very end.
std::atomic<bool> didGoOn = false;
std::atomic<steady_clock::time_point> exitBegan;

constexpr int tooLate = 1;
constexpr int wentOn = 2;

/// Ends the child with `tooLate` if its exit took longer than a user would forgive, with `wentOn` if guarded work did.
void judgeExitAtItsEnd() {
    std::atexit([] {
        if (didGoOn) _exit(wentOn);
        if (steady_clock::now() - exitBegan.load() > milliseconds(100)) _exit(tooLate);
    });
}

[[noreturn]] void beginExit() {
    exitBegan = steady_clock::now();
    std::exit(0);
}

/// Runs the piece in a child, which it ends; -1 when that was not by an exit.
int exitCodeOf(void (*piece)()) {
    const auto child = fork();
    if (child == 0) {
        alarm(60);
        judgeExitAtItsEnd();
        piece();
        _exit(-1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Work that holds the exit up does so every time, want of the processor does not: the quickest of ten exits counts.
void expectSwiftExit(void (*piece)()) {
    int code = exitCodeOf(piece);
    for (int time = 1; code == tooLate && time < 10; ++time) code = exitCodeOf(piece);
    EXPECT_EQ(code, 0);
}

TEST(GuardedWork, ParksWhenTheProcessExits) {
    const auto exitAtWork = [] {
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
    expectSwiftExit(exitAtWork);
}

TEST(GuardedWork, IsNotWaitedForLongWhenItDoesNotPark) {
    const auto exitAtWork = [] {
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
    expectSwiftExit(exitAtWork);
}

TEST(GuardedWork, ThatIsOverDelaysNothing) {
    const auto exitAfterWork = [] {
        ExitGuard::watchForExit();
        {
            ExitGuard guard([] { didGoOn = true; });
            guard.parkIfExiting();
            EXPECT_FALSE(guard.isExiting());
        }
        beginExit();
    };
    expectSwiftExit(exitAfterWork);
}

TEST(GuardedWork, OfAParentIsNothingToAForkedChild) {
    ExitGuard::watchForExit();
    const ExitGuard guard([] { _exit(wentOn); });
    EXPECT_EQ(exitCodeOf(beginExit), 0);
}

/// A worker that came to watch only with its first request could come too late.
TEST(GuardedWork, IsWatchedOverFromTheFirstClientOn) {
    constexpr int wokenUp = 3;
    const auto exitWithClient = [] {
        auto* client = new platform::CurlHttpClient;
        EXPECT_NE(client, nullptr);
        const ExitGuard guard([] { _exit(wokenUp); });
        beginExit();
    };
    EXPECT_EQ(exitCodeOf(exitWithClient), wokenUp);
}

/// A worker deep inside TLS may not park in time.
TEST(TlsLibrary, IsStillThereAtTheVeryEndOfTheExit) {
    constexpr int tlsIsThere = 3;
    const auto exitWithClient = [] {
        std::atexit([] {
            if (OPENSSL_init_crypto(0, nullptr) == 1) _exit(tlsIsThere);
        });
        auto* client = new platform::CurlHttpClient;
        EXPECT_NE(client, nullptr);
        beginExit();
    };
    EXPECT_EQ(exitCodeOf(exitWithClient), tlsIsThere);
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
        auto* client = new platform::CurlHttpClient;
        auto* workers = new platform::WorkerThreads;
        leaveUploadUnanswered(*client, *workers);
        beginExit();
    };
    expectSwiftExit(exitInUpload);
}

TEST(Upload, DoesNotDisturbAHostThatDestroysItsClientAtExit) {
    const auto exitInUpload = [] {
        static platform::CurlHttpClient client;
        static platform::WorkerThreads workers;
        leaveUploadUnanswered(client, workers);
        beginExit();
    };
    expectSwiftExit(exitInUpload);
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
