#pragma once

#include <memory>

#include "harvelstone/platform/RunLoop.hpp"

namespace harvelstone::platform {

/// The engine of our run loops: tasks and timers, without a thread of their own.
///
/// Any thread may hand tasks in and stop; one thread at a time may run them. A task that raises is logged as a platform
/// line and dropped. Tasks that were never run are dropped with the object.
class TaskLoop {
  public:
    TaskLoop();
    ~TaskLoop();
    TaskLoop(const TaskLoop&) = delete;
    TaskLoop& operator=(const TaskLoop&) = delete;

    void post(Task task);
    /// Takes from the system what all timers together need, a few file descriptors; else the first timer does. Both
    /// raise Exception when there are none left.
    void prepareTimers();
    void callAfter(Seconds delay, Task task);

    void runReady();
    void runFor(Seconds time);
    void runUntilIdle();
    void stop();

  private:
    struct Context;
    std::unique_ptr<Context> context_;
};

}  // namespace harvelstone::platform
