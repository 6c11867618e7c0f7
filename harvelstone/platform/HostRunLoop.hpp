#pragma once

#include <memory>

#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/RunLoop.hpp"
#include "harvelstone/platform/TaskLoop.hpp"

namespace harvelstone::platform {

/// A run loop that its owner pumps: tasks run inside the calls below, on the thread that makes them.
///
/// Any thread may hand tasks in; one thread at a time may pump. A task that raises is logged as a platform line and
/// dropped, and the loop goes on. In a child made by fork it starts empty. Made with `std::make_shared`, so that a task
/// can ask for it with `current()`.
class HostRunLoop final : public RunLoop, public std::enable_shared_from_this<HostRunLoop> {
  public:
    /// The process's main queue if the host has chosen to pump it; never destroyed.
    static std::shared_ptr<HostRunLoop> mainQueue();
    /// The main queue unless another is installed: its tasks run one after another on a thread of their own, which is
    /// there only while there is work.
    static std::shared_ptr<RunLoop> onOwnThread();

    void post(Task task) override;
    void callAfter(Seconds delay, Task task) override;

    /// Runs what is due now and returns without waiting.
    void runReady();
    /// Runs tasks as they fall due until that much time has passed or `stop` is called.
    void runFor(Seconds time);
    /// Runs tasks, waiting for those of later, until none is left or `stop` is called.
    void runUntilIdle();
    /// Ends the pumping under way after the task that runs now. What is left stays for the next time. Any thread.
    void stop();

  private:
    OwnedPerProcess<TaskLoop> tasks_;
};

}  // namespace harvelstone::platform
