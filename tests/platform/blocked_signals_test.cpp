#include <array>
#include <cerrno>
#include <gtest/gtest.h>
#include <unistd.h>

#include "harvelstone/platform/BlockedSignals.hpp"

namespace harvelstone::platform {
namespace {

/// Writes into a pipe that nobody reads.
void breakPipe() {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    close(ends[0]);
    EXPECT_EQ(write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    close(ends[1]);
}

bool isPending(int number) {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, number) == 1;
}

bool isBlocked(int number) {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, number) == 1;
}

TEST(BlockedBrokenPipe, KeepsTheProcessAliveAndLeavesNothingBehind) {
    {
        const BlockedBrokenPipe blocked;
        breakPipe();
        EXPECT_TRUE(isPending(SIGPIPE));
    }
    EXPECT_FALSE(isPending(SIGPIPE));
    EXPECT_FALSE(isBlocked(SIGPIPE));
}

TEST(BlockedBrokenPipe, LeavesTheHostsOwnSignalAsItWas) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &signals, nullptr), 0);
    breakPipe();
    { const BlockedBrokenPipe blocked; }
    EXPECT_TRUE(isPending(SIGPIPE));
    EXPECT_TRUE(isBlocked(SIGPIPE));
}

TEST(BlockedSignals, AreBlockedForItsLifeFaultsExcepted) {
    {
        const BlockedSignals blocked;
        EXPECT_TRUE(isBlocked(SIGTERM));
        EXPECT_FALSE(isBlocked(SIGSEGV));
    }
    EXPECT_FALSE(isBlocked(SIGTERM));
}

}  // namespace
}  // namespace harvelstone::platform
