#pragma once

#include <mutex>

namespace harvelstone::platform {

/// A child made by `fork` starts as a new process would. It has a copy of everything its parent held in memory, some of
/// it half-way through a change on a thread that the child does not have; none of that is used again. What is kept once
/// a process therefore stands in a PerProcess, and everything that reaches outside the process asks here. Nothing
/// happens in a child that only calls `exec` or `_exit`.

/// How many forks lie between this process and the one that the library was loaded into.
unsigned processGeneration() noexcept;

/// Whether this process has made a child.
bool hasForked() noexcept;

/// Says, in a child, that its parent has done with the library, as one that turns itself into a daemon: this process
/// goes on where the parent stopped, on disk and not in memory. To be called before any other use.
void takeOverFromParent() noexcept;
bool hasTakenOver() noexcept;

/// Marks a call into the host's code, such as its log sink, from the middle of an operation of ours. A child that is
/// made inside one has our half-done operation on its stack: for it the library stays out of action (see
/// Platform::current).
class HostCall {
  public:
    HostCall() noexcept;
    ~HostCall();
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;
};

/// Whether this process was made in the middle of an operation.
bool isOutOfAction() noexcept;
/// What such a process runs when the host's code comes back, so that the rest of the operation finds a state. It must
/// not raise.
void setStartUpOutOfAction(void (*startUp)()) noexcept;

/// Held for a moment around calls of a library that a fork must not catch half-way, because its locks would stay locked
/// in the child for ever: a fork waits for it. Nothing else is locked, and no code of the host's called, while it is
/// held.
std::mutex& heldAcrossFork() noexcept;

/// The number of an open file that carries a lock, or of a connection. It is the parent's, and would outlive the parent
/// in its children, so a child closes its copy at once.
void closeInChild(int descriptor) noexcept;
/// Takes that back, before the file is closed here.
void keepInChild(int descriptor) noexcept;

}  // namespace harvelstone::platform
