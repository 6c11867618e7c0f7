#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "harvelstone/platform/Result.hpp"
#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/queue_scan.hpp"

namespace harvelstone {

class QueueState;

/// A persistent queue of records in the file named after it: framed records behind a header, laid out byte by byte in
/// docs/storage.md.
///
/// `add` makes the record durable before it returns. A torn tail, left by a crash in the middle of an `add` that never
/// returned, is cut off when the queue is next read; a damaged frame in the middle loses that frame alone and is
/// reported in the log. What `pop` returned is gone for every reader of the process at once, and consumed on disk when
/// the public operation around it ends (see StorageBatch); until then other processes wait for the queue. Objects on
/// one queue may be used from any threads and processes.
///
/// A queue without a file is empty; the first `add` makes the file. The queue never removes it, and goes on with a new
/// one when housekeeping did.
class QueueFile {
  public:
    /// Opens the queue. A name that cannot be a file name raises platform::InvalidArgumentException.
    explicit QueueFile(const std::string& queueName);
    ~QueueFile();
    QueueFile(const QueueFile&) = delete;
    QueueFile& operator=(const QueueFile&) = delete;

    /// Appends the record. A record nested deeper than `maximumNestingDepth` or longer than the frame limit raises
    /// platform::InvalidArgumentException. When the disk is full or fails, the record is kept in memory and written
    /// before the next one, or when the queue is next read; one line is logged.
    void add(const Dictionary& record);

    /// Removes and returns the next record in the order of adding; absent when the queue is empty or cannot be read
    /// now, which is logged.
    std::optional<Dictionary> pop();

    /// How many records there are, those that could not be written yet among the unread. Absent when the file cannot be
    /// read now.
    std::optional<QueueCounts> count() const;

    /// Deletes the file, as housekeeping does. Before that, if it can be read, tells what stands in it; nothing is
    /// added between. What is called must not use the queue.
    platform::Result<void> remove(const std::function<void(const QueueCounts&)>& beforeRemoval);

    /// Names of the queues in use, among them those that keep records in memory.
    static std::vector<std::string> namesInMemory();

  private:
    std::shared_ptr<QueueState> state_;
};

}  // namespace harvelstone
