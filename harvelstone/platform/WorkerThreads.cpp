#include "harvelstone/platform/WorkerThreads.hpp"

#include <condition_variable>
#include <cstddef>
#include <cxxabi.h>
#include <deque>
#include <mutex>
#include <pthread.h>
#include <system_error>
#include <thread>
#include <utility>

#include "harvelstone/platform/BlockedSignals.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/platform/TaskLoop.hpp"

namespace harvelstone::platform {

/// The threads, and the queues that wait for one.
class WorkerThreads::Crew final : public std::enable_shared_from_this<Crew> {
  public:
    explicit Crew(Seconds idleTime) : idleTime_(idleTime) {}

    void serve(std::shared_ptr<OperationQueue> queue);
    std::size_t threadCount() const;

  private:
    struct Roster {
        std::mutex mutex;
        std::condition_variable queueCame;
        std::deque<std::shared_ptr<OperationQueue>> waiting;
        std::size_t threads = 0;
        std::size_t freeThreads = 0;
    };

    std::error_code makeThread(Roster& roster);
    void work();
    std::shared_ptr<OperationQueue> nextQueue();

    const Seconds idleTime_;
    OwnedPerProcess<Roster> roster_;  // a child made by fork has none of its parent's threads
};

/// A run loop that asks the crew for a thread when its first task comes, and gives the thread back after its last.
class WorkerThreads::OperationQueue final : public RunLoop, public std::enable_shared_from_this<OperationQueue> {
  public:
    explicit OperationQueue(std::shared_ptr<Crew> crew) : crew_(std::move(crew)) {}

    void prepareTimers() { work_->tasks.prepareTimers(); }

    void post(Task task) override {
        auto& work = *work_;
        work.tasks.post(counted(work, std::move(task)));
        askForThread(work);
    }

    void callAfter(Seconds delay, Task task) override {
        auto& work = *work_;
        work.tasks.callAfter(delay, counted(work, std::move(task)));
        askForThread(work);
    }

    /// On a worker: runs until no task and no timer is left.
    void run() {
        const Running running(shared_from_this());
        auto& work = *work_;
        do {
            work.tasks.runUntilIdle();
        } while (!givesThreadBack(work));
    }

  private:
    struct Work {
        std::mutex mutex;
        std::size_t unfinished = 0;  ///< tasks and timers handed in that have not run to their end
        bool hasThread = false;      ///< has one or waits for one
        TaskLoop tasks;              // gone before what the tasks count with
    };

    class Ticket {
      public:
        explicit Ticket(Work& work) : work_(work) {
            const std::lock_guard lock(work_.mutex);
            ++work_.unfinished;
        }
        ~Ticket() {
            const std::lock_guard lock(work_.mutex);
            --work_.unfinished;
        }
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

      private:
        Work& work_;
    };

    /// Counts as unfinished from the moment it is made until it is gone, be it run or dropped.
    static Task counted(Work& work, Task task) {
        return [ticket = std::make_shared<Ticket>(work), task = std::move(task)] { task(); };
    }

    void askForThread(Work& work) {
        {
            const std::lock_guard lock(work.mutex);
            if (std::exchange(work.hasThread, true)) return;
        }
        crew_->serve(shared_from_this());
    }

    static bool givesThreadBack(Work& work) {
        const std::lock_guard lock(work.mutex);
        if (work.unfinished > 0) return false;
        work.hasThread = false;
        return true;
    }

    const std::shared_ptr<Crew> crew_;
    OwnedPerProcess<Work> work_;
};

void WorkerThreads::Crew::serve(std::shared_ptr<OperationQueue> queue) {
    std::error_code error;
    {
        auto& roster = *roster_;
        const std::lock_guard lock(roster.mutex);
        roster.waiting.push_back(std::move(queue));
        if (roster.freeThreads >= roster.waiting.size()) {
            roster.queueCame.notify_one();
        } else {
            error = makeThread(roster);
        }
    }
    // The queue waits for a worker that gets free, or for the next call that finds the system in a better state.
    if (error) Platform::current().log->platformLine("harvelstone: no worker thread: " + error.message());
}

std::error_code WorkerThreads::Crew::makeThread(Roster& roster) {
    const BlockedSignals blocked;  // inherited: the host's signal handlers run on the host's threads
    try {
        std::thread([crew = shared_from_this()] { crew->work(); }).detach();
        ++roster.threads;
        return {};
    } catch (const std::system_error& error) {
        return error.code();
    }
}

// GCC binds the reference to a forced unwind, which is no object, to null.
__attribute__((no_sanitize("null"))) void WorkerThreads::Crew::work() {
    pthread_setname_np(pthread_self(), "harvelstone");
    while (const auto queue = nextQueue()) {
        try {
            queue->run();
        } catch (const abi::__forced_unwind&) {
            // A task has ended its thread, with pthread_exit. Another one goes on with what is left of the queue.
            {
                auto& roster = *roster_;
                const std::lock_guard lock(roster.mutex);
                --roster.threads;
            }
            serve(queue);
            throw;
        } catch (...) {
            // Of the queue itself, since what a task raises stays inside. The queue is let go with what is left in it.
            Platform::current().log->platformLine("harvelstone: a queue of tasks has failed, dropped");
        }
    }
}

std::shared_ptr<WorkerThreads::OperationQueue> WorkerThreads::Crew::nextQueue() {
    auto& roster = *roster_;
    std::unique_lock lock(roster.mutex);
    ++roster.freeThreads;
    const bool came = roster.queueCame.wait_for(lock, idleTime_, [&] { return !roster.waiting.empty(); });
    --roster.freeThreads;
    if (!came) {
        --roster.threads;
        return nullptr;
    }
    auto queue = std::move(roster.waiting.front());
    roster.waiting.pop_front();
    return queue;
}

std::size_t WorkerThreads::Crew::threadCount() const {
    auto& roster = *roster_;
    const std::lock_guard lock(roster.mutex);
    return roster.threads;
}

WorkerThreads::WorkerThreads(Seconds idleTime) : crew_(std::make_shared<Crew>(idleTime)) {}

WorkerThreads::~WorkerThreads() = default;

std::shared_ptr<RunLoop> WorkerThreads::newOperationQueue() {
    auto queue = std::make_shared<OperationQueue>(crew_);
    queue->prepareTimers();
    return queue;
}

std::shared_ptr<RunLoop> WorkerThreads::newMainQueue() { return std::make_shared<OperationQueue>(crew_); }

std::size_t WorkerThreads::threadCount() const { return crew_->threadCount(); }

}  // namespace harvelstone::platform
