// The state of one record queue, its writing half: appending records, taking back what a failed write left, making
// consumption durable, emptying the file. Writes "NAME.Harvelstone". Called with the state locked.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <span>

#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/QueueState.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

using platform::File;
using platform::OpenMode;
using platform::Platform;
using platform::Result;
using platform::SyncPolicy;

namespace {

auto bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

Result<void> syncFile(File& file) {
    return Platform::current().syncPolicy == SyncPolicy::powerLoss ? file.sync() : Result<void>();
}

Result<std::string> readAt(File& file, std::uint64_t offset, std::size_t size) {
    FileSource source(file);
    auto bytes = source.at(offset, size);
    if (!bytes) return bytes.error();
    return std::string(bytes->substr(0, size));
}

/// Cuts off what a failed append left; gives how much of it stays because it cannot be cut off.
std::size_t takeBack(File& file) {
    const auto written = file.lastAppended();
    if (written == 0) return 0;
    const auto end = file.size();
    return end && file.truncate(*end - written) ? 0 : written;
}

/// A file of its own: the moment when it was made, as the file system tells it.
queue_format::QueueHeader newHeader(const std::string& path) {
    auto attributes = Platform::current().fileSystem->attributes(path);
    if (!attributes || !(attributes->modificationDate > 0)) return {};
    return {static_cast<std::uint64_t>(attributes->modificationDate * 1e6), 0};
}

}  // namespace

void QueueState::add(std::string frame) {
    LaterLines lines;
    const std::lock_guard lock(mutex_);
    pending_.pushBack(std::move(frame));
    const auto written = writePending(lines);  // what fails stays in memory, and is logged
    if (!written && PendingFrames::areTooMany()) {
        pending_.dropNewest();
        noteFailure("keep another record of", std::make_error_code(std::errc::no_buffer_space), lines);
    }
    stayWhileNeeded();
}

Result<void> QueueState::writePending(LaterLines& lines) {
    while (!pending_.empty()) {
        const auto batch = pending_.oldest();
        left_ = 0;
        if (auto written = write(batch.bytes, lines); !written) {
            pending_.dropWhole(left_);  // they are in the file, and must not get there twice
            noteFailure("write", written.error(), lines);
            return written;
        }
        pending_.drop(batch);
    }
    failuresLogged_.erase("write");
    failuresLogged_.erase("keep another record of");
    return {};
}

Result<void> QueueState::write(std::string_view frames, LaterLines& lines) {
    if (held_) {
        if (isStillAtPath(*held_->file)) return append(*held_->file, frames, lines);
        forgetFile();
    }
    auto& fileSystem = *Platform::current().fileSystem;
    constexpr int attempts = 3;  // another process may make the file, or housekeeping remove it, in between
    auto written = Result<void>();
    for (int attempt = 0; attempt < attempts; ++attempt) {
        auto file = fileSystem.open(path_, OpenMode::Append);
        if (file) {
            written = lock(**file);
            if (written) return append(**file, frames, lines);
            if (isMissing(written.error())) continue;
            return written;
        }
        written = file.error();
        if (isNoFile(file.error()) && setAside(name_, "no file", lines)) continue;
        if (!isMissing(file.error())) return written;
        written = writeToNewFile(frames, lines);
        if (written || written.error() != std::errc::file_exists) return written;
    }
    return written;
}

Result<void> QueueState::writeToNewFile(std::string_view frames, LaterLines& lines) {
    auto& fileSystem = *Platform::current().fileSystem;
    auto file = fileSystem.open(path_, OpenMode::Create);
    if (!file && isMissing(file.error()) && ensureStorageFolder(lines)) file = fileSystem.open(path_, OpenMode::Create);
    if (!file) return file.error();
    forgetFile();
    noteFolderChange();
    if (auto locked = lock(**file); !locked) return locked;
    auto size = (*file)->size();
    if (!size) return size.error();
    // Another process may have seen the file before it had its header; then it goes without.
    const auto header = *size == 0 ? queue_format::header(newHeader(path_)) : std::string();
    auto written = append(**file, header + std::string(frames), lines);
    left_ -= std::min(left_, header.size());
    if (written || left_ > 0) syncStorageFolder(lines);
    return written;
}

/// After an error `left_` bytes of them are in the file. The frame that ends within these does no harm there: readers
/// pass over it.
Result<void> QueueState::append(File& file, std::string_view bytes, LaterLines& lines) {
    auto written = file.append(bytesOf(bytes));
    if (written) written = syncFile(file);
    if (written) noteSynced();
    left_ = written ? 0 : takeBack(file);
    if (written || left_ < bytes.size()) return written;
    noteFailure("sync", written.error(), lines);  // it stands in the file, only how safely is not known
    owesSync_ = true;
    return {};
}

/// Syncs once more what could neither be synced nor cut off. No proof that it is safe: after a sync that failed a
/// machine may take the bytes for written, as Linux does, and report a success. To write them once more they would have
/// to be cut off first, and by now others may have read them or written behind them.
void QueueState::syncAgain(LaterLines& lines) {
    auto file = Result<std::unique_ptr<File>>(nullptr);
    if (!held_) file = Platform::current().fileSystem->open(path_, OpenMode::Append);
    const auto synced = file ? syncFile(held_ ? *held_->file : **file) : Result<void>(file.error());
    if (synced || isMissing(synced.error())) return noteSynced();
    noteFailure("sync", synced.error(), lines);
}

void QueueState::noteSynced() {
    owesSync_ = false;
    failuresLogged_.erase("sync");
}

void QueueState::writeConsumption(LaterLines& lines) {
    auto size = held_->file->size();
    Result<void> written;
    if (!size)
        written = size.error();
    else if (claims_.empty() && survey_.consumed.firstOutside(0) >= *size)
        written = emptyFile();
    else
        written = appendConsumption(*size, lines);
    owesConsumption_ = !written;
    if (!written) noteFailure("consume", written.error(), lines);
    if (written) failuresLogged_.erase("consume");
}

Result<void> QueueState::appendConsumption(std::uint64_t size, LaterLines& lines) {
    const auto payload = queue_format::consumedPayload(survey_.consumed);
    const auto frame = queue_format::frame(queue_format::FrameType::consumed, payload);
    auto written = append(*held_->file, frame, lines);
    if (!written) return written;
    // The frame itself holds nothing to read, so that the file can be emptied with the last record.
    survey_.consumed.add(size, size + frame.size());
    taken_.add(size, size + frame.size());
    return written;
}

Result<void> QueueState::emptyFile() {
    auto& file = *held_->file;
    const auto counts = countQueue(held_->source, /*claimed=*/{});
    if (!counts) return counts.error();
    if (auto cut = file.truncate(0); !cut) return cut;
    auto values = survey_.header.value_or(newHeader(path_));
    ++values.emptied;
    values.records = static_cast<std::uint32_t>(counts->consumed + counts->unread);
    values.damaged = static_cast<std::uint32_t>(counts->damaged);
    survey_ = {};
    taken_ = {};
    position_ = 0;
    held_->source.forget();
    const auto header = queue_format::header(values);
    if (auto written = file.append(bytesOf(header)); !written) return written;
    survey_.header = values;
    survey_.hasSoundPiece = true;
    survey_.end = survey_.size = header.size();
    survey_.consumed.add(0, header.size());
    taken_.add(0, header.size());
    return syncFile(file);
}

/// A holder that let us wait in vain is not waited for again before the lock could be had: it stalls one call, not all.
Result<void> QueueState::lock(File& file) {
    using std::chrono::milliseconds;
    auto locked = file.lock(isLockedOut_ ? milliseconds(0) : milliseconds(500));
    isLockedOut_ = locked.error() == std::errc::device_or_resource_busy;
    return locked;
}

bool QueueState::isStillAtPath(File& file) {
    auto there = Platform::current().fileSystem->open(path_, OpenMode::Read);
    if (!there) return !isMissing(there.error()) && !isNoFile(there.error());
    const auto ours = readAt(file, 0, queue_format::headerSize);
    const auto theirs = readAt(**there, 0, queue_format::headerSize);
    return !ours || !theirs || *ours == *theirs;
}

}  // namespace harvelstone
