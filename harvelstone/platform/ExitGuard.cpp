#include "harvelstone/platform/ExitGuard.hpp"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <unistd.h>
#include <utility>
#include <vector>

#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/keep_loaded.hpp"

namespace harvelstone::platform {
namespace {

// A woken thread parks within a millisecond; one deep inside a computation is not worth a user's noticing.
constexpr std::chrono::milliseconds longestWait{50};

struct Gate {
    std::mutex mutex;
    std::condition_variable someoneLeft;
    std::vector<const ExitGuard*> inside;
    bool isExiting = false;
};

// A child made by fork has none of the guarded threads.
constinit PerProcess<Gate> theGate;

Gate& gate() { return *theGate; }

[[noreturn]] void parkForever() {
    for (;;) pause();
}

}  // namespace

void ExitGuard::watchForExit() {
    keepLoaded();  // the handler must not go with a plug-in
    gate();
    std::atexit([] {
        std::unique_lock lock(gate().mutex);
        if (std::exchange(gate().isExiting, true)) return;  // waits once
        for (const auto* guard : gate().inside) guard->wakeUp_();
        gate().someoneLeft.wait_for(lock, longestWait, [] { return gate().inside.empty(); });
    });
}

ExitGuard::ExitGuard(std::function<void()> wakeUp) : wakeUp_(std::move(wakeUp)) {
    const std::lock_guard lock(gate().mutex);
    gate().inside.push_back(this);
}

ExitGuard::~ExitGuard() { leave(); }

bool ExitGuard::isExiting() const {
    const std::lock_guard lock(gate().mutex);
    return gate().isExiting;
}

void ExitGuard::parkIfExiting() {
    if (!isExiting()) return;
    leave();
    parkForever();
}

void ExitGuard::leave() {
    const std::lock_guard lock(gate().mutex);
    std::erase(gate().inside, this);
    gate().someoneLeft.notify_all();
}

}  // namespace harvelstone::platform
