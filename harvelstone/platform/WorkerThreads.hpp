#pragma once

#include <cstddef>
#include <memory>

#include "harvelstone/platform/RunLoop.hpp"

namespace harvelstone::platform {

/// Operation queues on worker threads.
///
/// A queue that gets a task is given a worker, and keeps it until the queue's last task and timer have run; then the
/// worker serves the next queue that waits. Threads are made when there is work and none is free, and end after some
/// time without any: an idle process runs no thread of ours. A task that raises is logged and dropped. In a child made
/// by fork there are no workers and no tasks at first, and the queues of its parent can be used like new ones.
///
/// Any thread may call it. Queues and their tasks outlive the object. Workers are never waited for: a host that exits
/// leaves them where they are.
class WorkerThreads final : public Workers {
  public:
    /// How long a free worker waits for the next queue: longer than the pause between two uploads of a drain, the
    /// repeat's second included.
    static constexpr Seconds defaultIdleTime{5};

    explicit WorkerThreads(Seconds idleTime = defaultIdleTime);
    ~WorkerThreads() override;
    WorkerThreads(const WorkerThreads&) = delete;
    WorkerThreads& operator=(const WorkerThreads&) = delete;

    /// Has taken what its timers need: a repeat must not fail once the upload is under way. Raises Exception when the
    /// system has nothing left to make them of.
    std::shared_ptr<RunLoop> newOperationQueue() override;
    /// The same without that: made whatever the system has left, and the first timer may raise.
    std::shared_ptr<RunLoop> newMainQueue();

    /// How many worker threads there are now.
    std::size_t threadCount() const;

  private:
    class Crew;
    class OperationQueue;
    const std::shared_ptr<Crew> crew_;
};

}  // namespace harvelstone::platform
