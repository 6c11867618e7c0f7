#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "harvelstone/platform/FileSystem.hpp"
#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/ByteRanges.hpp"
#include "harvelstone/services/ByteSource.hpp"
#include "harvelstone/services/LaterLines.hpp"
#include "harvelstone/services/PendingFrames.hpp"
#include "harvelstone/services/queue_scan.hpp"

namespace harvelstone {

/// What all QueueFile objects of one name share in the process.
///
/// Two states: at rest no file is open, and all that is known of the file (what is consumed, how far it was read) is
/// trusted again only after its header has shown that it is the same file. Between the first pop of a scope and the end
/// of the last scope that popped, the file is held open and locked against other processes. What was popped is a claim
/// of its scope: no reader gets it again, and it is consumed on disk when the scope ends.
///
/// `add` at rest is open, lock, one write, sync, close. Any thread.
class QueueState : public std::enable_shared_from_this<QueueState> {
  public:
    /// The one object of that name, made if no one holds it. A name that cannot be a file name raises
    /// platform::InvalidArgumentException.
    static std::shared_ptr<QueueState> named(const std::string& name);

    explicit QueueState(std::string name);
    QueueState(const QueueState&) = delete;
    QueueState& operator=(const QueueState&) = delete;

    /// Appends a record's frame, after those that could not be written before. One that cannot be written is kept in
    /// memory, up to the bound of PendingFrames.
    void add(std::string frame);

    /// The next record, claimed for the scope.
    std::optional<Dictionary> pop(std::uint64_t scope);

    /// Writes what waits in memory, and what the file does not know of its consumption, and makes both safe; false when
    /// some of it still waits.
    bool retry();

    /// Whether the scope's last pop gave nothing because the queue cannot be read now, not because it is empty.
    bool isUnread(std::uint64_t scope);

    /// The scope keeps nothing of what it popped: all of it stands in the queue again.
    void giveBack(std::uint64_t scope);

    /// The scope ended and its maps are on disk: its claims become consumed there too.
    void finish(std::uint64_t scope);

    /// The scope ended but its maps are not on disk: its claims last, without keeping other processes out, until
    /// `finish`. False when it has none.
    bool defer(std::uint64_t scope);

    /// How many records there are, those that could not be written yet among the unread. Absent when the file cannot be
    /// read now.
    std::optional<QueueCounts> count();

    /// Deletes the file. Before that, if it can be read, says what stands in it; nothing is added between.
    platform::Result<void> remove(const std::function<void(const QueueCounts&)>& beforeRemoval);

    /// Of the states that someone holds, those with records that could not be written among them.
    static std::vector<std::string> namesInMemory();

  private:
    enum class Hold { held, noFile, failed };

    // Writing: QueueStateWriting.cpp
    platform::Result<void> writePending(LaterLines& lines);
    platform::Result<void> write(std::string_view frames, LaterLines& lines);
    platform::Result<void> writeToNewFile(std::string_view frames, LaterLines& lines);
    platform::Result<void> append(platform::File& file, std::string_view bytes, LaterLines& lines);
    void syncAgain(LaterLines& lines);
    void noteSynced();
    void writeConsumption(LaterLines& lines);
    platform::Result<void> appendConsumption(std::uint64_t size, LaterLines& lines);
    platform::Result<void> emptyFile();
    bool isStillAtPath(platform::File& file);
    platform::Result<void> lock(platform::File& file);

    // Reading: QueueState.cpp
    Hold hold(LaterLines& lines);
    Hold holdFile(std::unique_ptr<platform::File> file, LaterLines& lines);
    Hold moveAway(platform::File& foreign, LaterLines& lines);
    platform::Result<void> survey(ByteSource& source, std::uint64_t size);
    bool isKnown(const std::optional<queue_format::QueueHeader>& header) const;
    platform::Result<std::unique_ptr<platform::File>> openLocked();
    platform::Result<QueueCounts> countNow();
    platform::Result<QueueCounts> countFile(platform::File& file) const;
    std::optional<Dictionary> popFromFile(std::uint64_t scope, LaterLines& lines);
    std::optional<Dictionary> popFromMemory(std::uint64_t scope);
    void claim(std::uint64_t scope, std::uint64_t begin, std::uint64_t end);
    void releaseIfIdle();
    void forgetFile();
    bool owesAnything() const;
    void stayWhileNeeded();
    void noteFailure(std::string_view what, const std::error_code& error, LaterLines& lines);
    void noteDamage(const QueuePiece& piece, LaterLines& lines);

    const std::string name_;
    const std::string path_;
    std::mutex mutex_;

    // What is known of the file.
    QueueSurvey survey_;
    std::map<std::uint64_t, ByteRanges> claims_;  // by scope
    std::set<std::uint64_t> deferred_;            // scopes that ended, whose claims last
    ByteRanges taken_;                            // consumed or claimed
    std::uint64_t position_ = 0;                  // everything before it is taken
    bool owesConsumption_ = false;                // more is consumed than the file says

    // While it is held.
    struct Held {
        explicit Held(std::unique_ptr<platform::File> opened) : file(std::move(opened)), source(*file) {}

        std::unique_ptr<platform::File> file;
        FileSource source;
        QueueScanner scanner{source, QueueScanner::Check::payloads};
    };
    std::unique_ptr<Held> held_;

    bool owesSync_ = false;  // not all that stands at the path is safe, whatever is known of it
    PendingFrames pending_;
    std::size_t left_ = 0;  // bytes of the last append that failed and could not be cut off
    std::map<std::uint64_t, std::deque<std::string>> poppedFromMemory_;  // by scope, as long as it runs
    std::set<std::uint64_t> unread_;                                     // scopes whose last pop failed
    bool isLockedOut_ = false;                                           // another holder let us wait in vain
    std::shared_ptr<QueueState> self_;                   // this object, as long as it knows more than the file
    std::set<std::string, std::less<>> failuresLogged_;  // "write", "read", ...: once each until it works again
};

}  // namespace harvelstone
