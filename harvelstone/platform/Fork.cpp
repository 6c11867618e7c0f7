#include "harvelstone/platform/Fork.hpp"

#include <array>
#include <atomic>
#include <pthread.h>
#include <unistd.h>

#include "harvelstone/platform/NeverDestroyed.hpp"

namespace harvelstone::platform {
namespace {

constinit std::atomic<unsigned> generation = 0;
constinit std::atomic<unsigned> generationThatTookOver = 0;
constinit std::atomic<bool> hasChild = false;
constinit std::atomic<bool> outOfAction = false;
constinit std::atomic<void (*)()> startUpOutOfAction = nullptr;
constinit thread_local int hostCalls = 0;
constinit NeverDestroyed<std::mutex> forkMutex;

// Far more than are ever locked at once; one that finds no place stays open in the child, as long as that lives.
constinit std::array<std::atomic<int>, 64> lockedDescriptors{};  // each one higher, so that 0 is a free place

void goOnAsParent() {
    forkMutex->unlock();
    hasChild = true;
}

/// Only what a child of a process with several threads may do.
void startAsChild() {
    forkMutex->unlock();
    for (auto& place : lockedDescriptors)
        if (const int number = place.exchange(0); number != 0) close(number - 1);
    hasChild = false;
    if (hostCalls > 0) outOfAction = true;
    ++generation;
}

[[maybe_unused]] const int isWatching = pthread_atfork([] { forkMutex->lock(); }, goOnAsParent, startAsChild);

}  // namespace

unsigned processGeneration() noexcept { return generation.load(std::memory_order_relaxed); }

bool hasForked() noexcept { return hasChild.load(std::memory_order_relaxed); }

void takeOverFromParent() noexcept { generationThatTookOver = processGeneration(); }

bool hasTakenOver() noexcept { return processGeneration() > 0 && generationThatTookOver == processGeneration(); }

HostCall::HostCall() noexcept { ++hostCalls; }

HostCall::~HostCall() {
    --hostCalls;
    if (!isOutOfAction()) return;
    if (auto* startUp = startUpOutOfAction.exchange(nullptr)) startUp();
}

void setStartUpOutOfAction(void (*startUp)()) noexcept { startUpOutOfAction = startUp; }

bool isOutOfAction() noexcept { return outOfAction.load(std::memory_order_relaxed); }

std::mutex& heldAcrossFork() noexcept { return *forkMutex; }

void closeInChild(int descriptor) noexcept {
    for (auto& place : lockedDescriptors) {
        int free = 0;
        if (place.compare_exchange_strong(free, descriptor + 1)) return;
    }
}

void keepInChild(int descriptor) noexcept {
    for (auto& place : lockedDescriptors) {
        int taken = descriptor + 1;
        if (place.compare_exchange_strong(taken, 0)) return;
    }
}

}  // namespace harvelstone::platform
