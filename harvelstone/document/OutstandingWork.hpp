#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

namespace harvelstone {

/// Says, for as long as it lives, that the component still has something to do by itself. Held by the task that does
/// it, so a task that is dropped counts no more.
class OutstandingWork {
  public:
    enum class Kind {
        upload,   ///< an upload without its answer, or a repeat that waits for its time
        removal,  ///< the removal of a sent document's files that waits for its time on the main queue
    };

    explicit OutstandingWork(Kind kind);
    ~OutstandingWork();
    OutstandingWork(const OutstandingWork&) = delete;
    OutstandingWork& operator=(const OutstandingWork&) = delete;

    /// How many of that kind there are in the process. Any thread.
    static std::size_t count(Kind kind);
    /// Waits until there is none of that kind or the time is up; false when it was up first.
    static bool waitUntilNone(Kind kind, std::chrono::steady_clock::duration limit);

  private:
    struct Board;
    static Board& board();

    const Kind kind_;
    Board& board_;  // of the process that it was made in
};

/// To be captured by a task that is to be copied.
using OutstandingWorkToken = std::shared_ptr<OutstandingWork>;

}  // namespace harvelstone
