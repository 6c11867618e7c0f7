#pragma once

#include <functional>

namespace harvelstone::platform {

/// Marks a stretch of work that the end of the process must not meet half-way: a transfer inside a TLS library, whose
/// own exit handler takes away what the transfer stands on.
///
/// When the host exits, every guarded thread is woken up and parks where it asks next, and the exit goes on once all
/// have parked, or after `longestWait`. Nothing that would follow on such a thread happens any more: to the stores it
/// is as if the process had ended there.
class ExitGuard {
  public:
    /// Starts to watch for the exit of the process. To be called once the library that is to be guarded has been set
    /// up, since exit handlers run in the opposite order of their registration. May be called again,
    /// to meet the exit earlier.
    static void watchForExit();

    /// The wake-up function may be called on any thread, as long as the object lives.
    explicit ExitGuard(std::function<void()> wakeUp);
    ~ExitGuard();
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;

    /// Whether the process is ending, so that the work must not be begun or gone on with.
    bool isExiting() const;
    /// Never returns if the process is ending.
    void parkIfExiting();

  private:
    void leave();
    std::function<void()> wakeUp_;
};

}  // namespace harvelstone::platform
