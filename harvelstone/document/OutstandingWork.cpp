// Counts the uploads and removals under way, and waits for their end. In memory only. Any thread.

#include "harvelstone/document/OutstandingWork.hpp"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>

#include "harvelstone/platform/PerProcess.hpp"

namespace harvelstone {

namespace {

// A longer limit would overflow the clock.
constexpr std::chrono::hours longestWait{24 * 365};

}  // namespace

struct OutstandingWork::Board {
    std::mutex mutex;
    std::condition_variable changed;
    std::array<std::size_t, 2> counts{};

    std::size_t& count(Kind kind) { return counts[static_cast<std::size_t>(kind)]; }
};

OutstandingWork::Board& OutstandingWork::board() {
    static constinit platform::PerProcess<Board> theBoard;
    return *theBoard;
}

OutstandingWork::OutstandingWork(Kind kind) : kind_(kind), board_(board()) {
    const std::lock_guard lock(board_.mutex);
    ++board_.count(kind_);
}

OutstandingWork::~OutstandingWork() {
    // Notified under the lock: a waiter that sees the end may be about to end the process.
    const std::lock_guard lock(board_.mutex);
    if (--board_.count(kind_) == 0) board_.changed.notify_all();
}

std::size_t OutstandingWork::count(Kind kind) {
    const std::lock_guard lock(board().mutex);
    return board().count(kind);
}

bool OutstandingWork::waitUntilNone(Kind kind, std::chrono::steady_clock::duration limit) {
    std::unique_lock lock(board().mutex);
    return board().changed.wait_for(lock, std::min<std::chrono::steady_clock::duration>(limit, longestWait),
                                    [kind] { return board().count(kind) == 0; });
}

}  // namespace harvelstone
