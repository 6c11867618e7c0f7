#include "harvelstone/platform/BlockedSignals.hpp"

#include <cerrno>
#include <ctime>
#include <initializer_list>

namespace harvelstone::platform {
namespace {

sigset_t brokenPipe() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    return signals;
}

bool isBrokenPipePending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

BlockedSignals::BlockedSignals() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) sigdelset(&signals, fault);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

BlockedSignals::~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

BlockedBrokenPipe::BlockedBrokenPipe() : wasPending_(isBrokenPipePending()) {
    const auto signals = brokenPipe();
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

BlockedBrokenPipe::~BlockedBrokenPipe() {
    if (!wasPending_) {
        const auto signals = brokenPipe();
        const timespec atOnce{};
        while (sigtimedwait(&signals, nullptr, &atOnce) < 0 && errno == EINTR) continue;
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace harvelstone::platform
