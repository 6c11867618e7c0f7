#include "harvelstone/platform/WorkerThreads.hpp"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <pthread.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "harvelstone/platform/BlockedSignals.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/platform/TaskLoop.hpp"

namespace harvelstone::platform {

/// The threads, and the queues that wait for one.
class WorkerThreads::Crew final : public std::enable_shared_from_this<Crew> {
  public:
    explicit Crew(Seconds idleTime) : idleTime_(idleTime) {}

    void serve(std::shared_ptr<OperationQueue> queue);
    std::size_t threadCount() const;
    bool isOfThisProcess() const { return process_ == getpid(); }
    std::shared_ptr<Crew> successor() const { return std::make_shared<Crew>(idleTime_); }

  private:
    std::error_code makeThread();
    void work();
    std::shared_ptr<OperationQueue> nextQueue();

    const Seconds idleTime_;
    const pid_t process_ = getpid();
    mutable std::mutex mutex_;
    std::condition_variable queueCame_;
    std::deque<std::shared_ptr<OperationQueue>> waiting_;
    std::size_t threads_ = 0;
    std::size_t freeThreads_ = 0;
};

/// A run loop that asks the crew for a thread when its first task comes, and gives the thread back after its last.
class WorkerThreads::OperationQueue final : public RunLoop, public std::enable_shared_from_this<OperationQueue> {
  public:
    explicit OperationQueue(std::shared_ptr<Crew> crew) : crew_(std::move(crew)) {}

    void post(Task task) override {
        tasks_.post(counted(std::move(task)));
        askForThread();
    }

    void callAfter(Seconds delay, Task task) override {
        tasks_.callAfter(delay, counted(std::move(task)));
        askForThread();
    }

    /// On a worker: runs until no task and no timer is left.
    void run() {
        const Running running(shared_from_this());
        do {
            tasks_.runUntilIdle();
        } while (!givesThreadBack());
    }

  private:
    /// Counts as unfinished from the moment it is made until it is gone, be it run or dropped.
    Task counted(Task task) {
        return [ticket = std::make_shared<Ticket>(*this), task = std::move(task)] { task(); };
    }

    class Ticket {
      public:
        explicit Ticket(OperationQueue& queue) : queue_(queue) {
            const std::lock_guard lock(queue_.mutex_);
            ++queue_.unfinished_;
        }
        ~Ticket() {
            const std::lock_guard lock(queue_.mutex_);
            --queue_.unfinished_;
        }
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

      private:
        OperationQueue& queue_;
    };

    void askForThread() {
        {
            const std::lock_guard lock(mutex_);
            if (std::exchange(hasThread_, true)) return;
        }
        crew_->serve(shared_from_this());
    }

    bool givesThreadBack() {
        const std::lock_guard lock(mutex_);
        if (unfinished_ > 0) return false;
        hasThread_ = false;
        return true;
    }

    const std::shared_ptr<Crew> crew_;
    std::mutex mutex_;
    std::size_t unfinished_ = 0;  ///< tasks and timers handed in that have not run to their end
    bool hasThread_ = false;      ///< has one or waits for one
    TaskLoop tasks_;              // gone before what the tasks count with
};

void WorkerThreads::Crew::serve(std::shared_ptr<OperationQueue> queue) {
    std::error_code error;
    {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(queue));
        if (freeThreads_ >= waiting_.size()) {
            queueCame_.notify_one();
        } else {
            error = makeThread();
        }
    }
    // The queue waits for a worker that gets free, or for the next call that finds the system in a better state.
    if (error) Platform::current().log->platformLine("harvelstone: no worker thread: " + error.message());
}

std::error_code WorkerThreads::Crew::makeThread() {
    const BlockedSignals blocked;  // inherited: the host's signal handlers run on the host's threads
    try {
        std::thread([crew = shared_from_this()] { crew->work(); }).detach();
        ++threads_;
        return {};
    } catch (const std::system_error& error) {
        return error.code();
    }
}

void WorkerThreads::Crew::work() {
    pthread_setname_np(pthread_self(), "harvelstone");
    while (const auto queue = nextQueue()) queue->run();
}

std::shared_ptr<WorkerThreads::OperationQueue> WorkerThreads::Crew::nextQueue() {
    std::unique_lock lock(mutex_);
    ++freeThreads_;
    const bool came = queueCame_.wait_for(lock, idleTime_, [this] { return !waiting_.empty(); });
    --freeThreads_;
    if (!came) {
        --threads_;
        return nullptr;
    }
    auto queue = std::move(waiting_.front());
    waiting_.pop_front();
    return queue;
}

std::size_t WorkerThreads::Crew::threadCount() const {
    const std::lock_guard lock(mutex_);
    return threads_;
}

WorkerThreads::WorkerThreads(Seconds idleTime) : crew_(std::make_shared<Crew>(idleTime)) {}

WorkerThreads::~WorkerThreads() = default;

/// A child made by fork has none of its parent's threads, only their traces.
std::shared_ptr<WorkerThreads::Crew> WorkerThreads::crewOfThisProcess() {
    auto crew = std::atomic_load(&crew_);
    if (crew->isOfThisProcess()) return crew;
    const auto fresh = crew->successor();
    return std::atomic_compare_exchange_strong(&crew_, &crew, fresh) ? fresh : crew;
}

std::shared_ptr<RunLoop> WorkerThreads::newOperationQueue() {
    return std::make_shared<OperationQueue>(crewOfThisProcess());
}

std::size_t WorkerThreads::threadCount() const { return std::atomic_load(&crew_)->threadCount(); }

}  // namespace harvelstone::platform
