#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tests/simulation/Random.hpp"

namespace harvelstone::testing {

/// Real threads of which exactly one runs at a time. Which one, and for how long, is the seed's choice, so a schedule
/// can be repeated; and since they are threads, what the code keeps for each thread is really that thread's.
///
/// A task may lose its turn at every point where another thread could interfere in earnest: at each call to the faked
/// machine, at each mutex that is taken or given back, and at each allocation of memory (between reading shared state
/// and swapping in a new one there is always one). For that the program is linked with `pthread_mutex_lock` and its
/// like wrapped, and brings its own `operator new`: see scheduler_hooks.cpp. So a mutex that a parked task holds is no
/// trap: whoever wants it is not run again before it is free. If nobody can run any more, that is a deadlock, and
/// found.
///
/// Time passes only when every task waits for it, and by what the tasks add.
class Scheduler {
  public:
    static constexpr double never = std::numeric_limits<double>::infinity();

    class Task;

    /// A task keeps its turn for about so many points; infinite for one that is only changed when it waits or ends.
    Scheduler(std::uint64_t seed, double pointsInARow);
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    /// Called when the turn goes over, and when nothing can run any more, on whatever thread that happens.
    std::function<void(const Task& from, const Task& to)> onSwitch;
    std::function<void(const std::string& why)> onDeadlock;

    Task& start(std::string name, std::function<void()> body);
    /// Runs the tasks, those included that they start, until all have ended.
    void run();

    /// For the running task only.
    void sleepUntil(double time);
    void blockOn(const void* lock);
    /// A task that waits for a later time goes on at this one. What waits for a lock is not concerned.
    void wake(Task& task, double time);
    void released(const void* lock);

    double time() const { return time_; }
    void addTime(double seconds) { time_ += seconds; }
    const Task& running() const { return *running_; }
    std::size_t switches() const { return switches_; }

    /// The scheduler of this thread's task; null on every other thread.
    static Scheduler* ofThisThread();
    /// Here another task may take over; a point of more weight is more likely to be one.
    static void point(std::uint64_t weight = 1);

    /// From the one to the other this thread keeps its turn, unless it waits.
    static void beginKeepingTurn();
    static void endKeepingTurn();
    class KeepTurn {
      public:
        KeepTurn() { beginKeepingTurn(); }
        ~KeepTurn() { endKeepingTurn(); }
        KeepTurn(const KeepTurn&) = delete;
        KeepTurn& operator=(const KeepTurn&) = delete;
    };

  private:
    void pass(std::uint64_t weight);
    void giveTurn();
    void handOver(Task& next);
    Task* choose();
    void newDistance();

    Random random_;
    const double pointsInARow_;
    std::uint64_t pointsLeft_ = 0;
    double time_ = 0;
    std::vector<std::unique_ptr<Task>> tasks_;
    std::vector<Task*> alive_;
    Task* running_ = nullptr;
    std::size_t switches_ = 0;
    struct Driver;
    std::unique_ptr<Driver> driver_;
};

class Scheduler::Task {
  public:
    const std::string& name() const { return name_; }
    std::size_t number() const { return number_; }
    bool hasEnded() const { return state_ == State::ended; }

  private:
    friend class Scheduler;
    enum class State { ready, asleep, blocked, ended };
    struct Thread;

    Task(Scheduler& scheduler, std::string name, std::size_t number, std::function<void()> body);
    void live();

    Scheduler& scheduler_;
    const std::string name_;
    const std::size_t number_;
    std::function<void()> body_;
    State state_ = State::ready;
    double wakeTime_ = 0;
    const void* lock_ = nullptr;
    std::shared_ptr<Thread> thread_;
};

}  // namespace harvelstone::testing
