#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace harvelstone::platform {

using Task = std::function<void()>;
using Seconds = std::chrono::duration<double>;

/// Runs tasks one after another on the thread that it belongs to. Any thread may hand tasks in.
class RunLoop {
  public:
    virtual ~RunLoop() = default;

    /// Runs the task as soon as those handed in before it have run.
    virtual void post(Task task) = 0;
    /// Runs the task once the delay has passed, never earlier.
    virtual void callAfter(Seconds delay, Task task) = 0;

    /// The loop that is running on the calling thread; a null pointer on a thread that runs none. It stays alive for
    /// as long as it has work, so a task handed to it is not lost.
    static std::shared_ptr<RunLoop> current();

    /// Says that a loop is running on this thread for as long as the object lives.
    class Running {
      public:
        explicit Running(std::shared_ptr<RunLoop> loop);
        ~Running();
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;

      private:
        std::shared_ptr<RunLoop> outer_;
    };
};

/// Where uploads get their operation queues from: each a fresh run loop on a worker thread of its own.
class Workers {
  public:
    virtual ~Workers() = default;
    virtual std::shared_ptr<RunLoop> newOperationQueue() = 0;
};

}  // namespace harvelstone::platform
