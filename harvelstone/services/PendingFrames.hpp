#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace harvelstone {

/// Frames of a queue that could not be written yet, oldest first. What all queues of the process keep together is
/// bounded. Used under the lock of the queue's state.
class PendingFrames {
  public:
    /// A disk that stays full must not fill the memory, too: some fifty thousand usual records, or the longest one.
    static constexpr std::size_t mostBytes = 16U << 20U;

    PendingFrames() = default;
    ~PendingFrames();
    PendingFrames(const PendingFrames&) = delete;
    PendingFrames& operator=(const PendingFrames&) = delete;

    bool empty() const { return frames_.empty(); }
    std::size_t size() const { return frames_.size(); }
    void pushBack(std::string frame);
    void pushFront(std::string frame);
    std::string popFront();
    void dropNewest();
    /// Whether the process keeps more than it may.
    static bool areTooMany();

    /// The oldest frames, to be written together: one at least, and no more than make a batch.
    struct Batch {
        std::string bytes;
        std::size_t frames = 0;
    };
    Batch oldest() const;
    void drop(const Batch& written);
    /// Drops those of the oldest frames that so many bytes hold to their end.
    void dropWhole(std::size_t bytes);

  private:
    std::deque<std::string> frames_;
};

}  // namespace harvelstone
