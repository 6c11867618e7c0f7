// Where the scheduler gets into the tested code: mutexes, waits for a condition, allocations, and the making of static
// objects. The program is linked with --wrap for the functions below; on threads that are no tasks they do nothing of
// their own.

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <new>
#include <pthread.h>

#include "tests/simulation/Scheduler.hpp"

using harvelstone::testing::Scheduler;

// The names are the linker's.
extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __real_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                  const timespec* until);
int __real___cxa_guard_acquire(void* guard);
void __real___cxa_guard_release(void* guard);
void __real___cxa_guard_abort(void* guard);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    auto* scheduler = Scheduler::ofThisThread();
    if (scheduler == nullptr) return __real_pthread_mutex_lock(mutex);
    Scheduler::point();
    for (;;) {
        const auto taken = pthread_mutex_trylock(mutex);
        if (taken != EBUSY) return taken;
        scheduler->blockOn(mutex);
    }
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    const auto given = __real_pthread_mutex_unlock(mutex);
    if (auto* scheduler = Scheduler::ofThisThread()) {
        scheduler->released(mutex);
        Scheduler::point();
    }
    return given;
}

/// Comes back after a while without a word: a waiter looks again what it waits for.
int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                  const timespec* until) {
    auto* scheduler = Scheduler::ofThisThread();
    if (scheduler == nullptr) return __real_pthread_cond_clockwait(condition, mutex, clock, until);
    constexpr double aWhile = 0.05;
    __wrap_pthread_mutex_unlock(mutex);
    scheduler->sleepUntil(scheduler->time() + aWhile);
    return __wrap_pthread_mutex_lock(mutex);
}

/// Who makes a static object keeps its turn until it is made, because others would wait for it unseen.
int __wrap___cxa_guard_acquire(void* guard) {
    const auto isMine = __real___cxa_guard_acquire(guard);
    if (isMine != 0) Scheduler::beginKeepingTurn();
    return isMine;
}

void __wrap___cxa_guard_release(void* guard) {
    __real___cxa_guard_release(guard);
    Scheduler::endKeepingTurn();
}

void __wrap___cxa_guard_abort(void* guard) {
    __real___cxa_guard_abort(guard);
    Scheduler::endKeepingTurn();
}

}  // extern "C"

void* operator new(std::size_t size) {
    Scheduler::point();
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
