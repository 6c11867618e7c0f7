// Threads that run one at a time, in an order that a seed fixes.

#include "tests/simulation/Scheduler.hpp"

#include <algorithm>
#include <semaphore.h>
#include <thread>
#include <utility>

namespace harvelstone::testing {

namespace {

thread_local Scheduler* schedulerHere = nullptr;
thread_local int turnsKept = 0;

class Semaphore {
  public:
    Semaphore() { sem_init(&semaphore_, /*pshared=*/0, /*value=*/0); }
    ~Semaphore() { sem_destroy(&semaphore_); }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    void post() { sem_post(&semaphore_); }
    void wait() {
        while (sem_wait(&semaphore_) != 0) {
        }
    }

  private:
    sem_t semaphore_{};
};

}  // namespace

struct Scheduler::Driver {
    Semaphore allEnded;
};

struct Scheduler::Task::Thread {
    Semaphore turn;
    std::thread thread;
};

Scheduler::Task::Task(Scheduler& scheduler, std::string name, std::size_t number, std::function<void()> body)
    : scheduler_(scheduler), name_(std::move(name)), number_(number), body_(std::move(body)) {}

void Scheduler::Task::live() {
    thread_->turn.wait();
    schedulerHere = &scheduler_;
    body_();
    const KeepTurn keep;
    body_ = nullptr;
    state_ = State::ended;
    std::erase(scheduler_.alive_, this);
    auto* next = scheduler_.choose();
    schedulerHere = nullptr;
    if (next != nullptr)
        scheduler_.handOver(*next);
    else
        scheduler_.driver_->allEnded.post();
}

Scheduler::Scheduler(std::uint64_t seed, double pointsInARow)
    : random_(seed), pointsInARow_(pointsInARow), driver_(std::make_unique<Driver>()) {
    newDistance();
}

Scheduler::~Scheduler() {
    for (const auto& task : tasks_)
        if (task->thread_->thread.joinable()) task->thread_->thread.join();
}

Scheduler::Task& Scheduler::start(std::string name, std::function<void()> body) {
    const KeepTurn keep;
    tasks_.push_back(std::unique_ptr<Task>(new Task(*this, std::move(name), tasks_.size(), std::move(body))));
    auto& task = *tasks_.back();
    alive_.push_back(&task);
    task.thread_ = std::make_shared<Task::Thread>();
    task.thread_->thread = std::thread([&task] { task.live(); });
    return task;
}

void Scheduler::run() {
    auto* first = choose();
    if (first == nullptr) return;
    handOver(*first);
    driver_->allEnded.wait();
}

void Scheduler::sleepUntil(double time) {
    running_->state_ = Task::State::asleep;
    running_->wakeTime_ = time;
    giveTurn();
}

void Scheduler::blockOn(const void* lock) {
    running_->state_ = Task::State::blocked;
    running_->lock_ = lock;
    giveTurn();
}

void Scheduler::wake(Task& task, double time) {
    if (task.state_ == Task::State::asleep) task.wakeTime_ = std::min(task.wakeTime_, time);
}

void Scheduler::released(const void* lock) {
    for (auto* task : alive_)
        if (task->state_ == Task::State::blocked && task->lock_ == lock) task->state_ = Task::State::ready;
}

Scheduler* Scheduler::ofThisThread() { return schedulerHere; }

void Scheduler::point(std::uint64_t weight) {
    if (schedulerHere != nullptr && turnsKept == 0) schedulerHere->pass(weight);
}

void Scheduler::beginKeepingTurn() { ++turnsKept; }
void Scheduler::endKeepingTurn() { --turnsKept; }

void Scheduler::newDistance() {
    pointsLeft_ =
        std::isinf(pointsInARow_) ? std::numeric_limits<std::uint64_t>::max() : random_.distance(pointsInARow_);
}

void Scheduler::pass(std::uint64_t weight) {
    if (pointsLeft_ > weight) {
        if (!std::isinf(pointsInARow_)) pointsLeft_ -= weight;
        return;
    }
    newDistance();
    giveTurn();
}

/// The running task goes on here when it is its turn again.
void Scheduler::giveTurn() {
    const KeepTurn keep;
    auto* self = running_;
    auto* next = choose();
    if (next == nullptr || next == self) return;
    handOver(*next);
    self->thread_->turn.wait();
}

void Scheduler::handOver(Task& next) {
    if (running_ != nullptr) {
        ++switches_;
        if (onSwitch) onSwitch(*running_, next);
    }
    running_ = &next;
    next.thread_->turn.post();
}

/// Who runs next, made ready; null when all tasks have ended.
Scheduler::Task* Scheduler::choose() {
    if (alive_.empty()) return nullptr;
    std::size_t ready = 0;
    Task* first = nullptr;
    for (auto* task : alive_) {
        if (task->state_ == Task::State::asleep && task->wakeTime_ <= time_) task->state_ = Task::State::ready;
        if (task->state_ == Task::State::ready) ++ready;
        const bool isEarlier = first == nullptr || task->wakeTime_ < first->wakeTime_;
        if (task->state_ == Task::State::asleep && isEarlier) first = task;
    }
    if (ready == 0) {
        if (first == nullptr || first->wakeTime_ == never) {
            if (onDeadlock) onDeadlock("no task can run any more");
            return nullptr;
        }
        time_ = first->wakeTime_;
        first->state_ = Task::State::ready;
        return first;
    }
    auto chosen = random_.below(ready);
    for (auto* task : alive_)
        if (task->state_ == Task::State::ready && chosen-- == 0) return task;
    return nullptr;
}

}  // namespace harvelstone::testing
