#pragma once

#include <signal.h>

namespace harvelstone::platform {

/// Keeps signals from the calling thread, and from the threads that it makes, for as long as the object lives. Faults
/// of the thread's own (a bad address, an abort) still reach it.
class BlockedSignals {
  public:
    BlockedSignals();
    ~BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

  private:
    sigset_t before_{};
};

/// Keeps SIGPIPE, which a library may raise by writing to a closed connection, from ending the host: one that comes to
/// this thread while the object lives is taken away unseen.
class BlockedBrokenPipe {
  public:
    BlockedBrokenPipe();
    ~BlockedBrokenPipe();
    BlockedBrokenPipe(const BlockedBrokenPipe&) = delete;
    BlockedBrokenPipe& operator=(const BlockedBrokenPipe&) = delete;

  private:
    sigset_t before_{};
    bool wasPending_;
};

}  // namespace harvelstone::platform
