// The state of one record queue in this process: the registry, reading, claims and their end. Reads, cuts and locks
// "NAME.Harvelstone", sets a foreign file aside. Any thread.

#include "harvelstone/services/QueueState.hpp"

#include <algorithm>
#include <fmt/format.h>

#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/StorageFolder.hpp"

namespace harvelstone {

using platform::OpenMode;
using platform::Platform;
using platform::Result;
using Kind = QueuePiece::Kind;

namespace {

/// The states that someone holds, by name.
struct Registry {
    std::mutex mutex;
    std::map<std::string, std::weak_ptr<QueueState>> states;
    std::size_t sweepAt = 64;  // dead entries are removed when there are so many
};
constinit platform::PerProcess<Registry> registry;

}  // namespace

std::shared_ptr<QueueState> QueueState::named(const std::string& name) {
    auto& known = *registry;
    const std::lock_guard lock(known.mutex);
    auto& states = known.states;
    if (const auto found = states.find(name); found != states.end())
        if (auto state = found->second.lock()) return state;
    auto state = std::make_shared<QueueState>(name);
    states[name] = state;
    if (states.size() >= known.sweepAt) {
        std::erase_if(states, [](const auto& entry) { return entry.second.expired(); });
        known.sweepAt = std::max<std::size_t>(64, 2 * states.size());
    }
    return state;
}

QueueState::QueueState(std::string name) : name_(std::move(name)), path_(storedFilePath(name_)) {}

std::optional<Dictionary> QueueState::pop(std::uint64_t scope) {
    LaterLines lines;
    const std::lock_guard lock(mutex_);
    std::optional<Dictionary> record;
    const auto state = held_ ? Hold::held : hold(lines);
    unread_.erase(scope);
    if (state == Hold::noFile) record = popFromMemory(scope);
    if (state == Hold::held) record = popFromFile(scope, lines);
    if (state == Hold::failed) unread_.insert(scope);
    releaseIfIdle();
    stayWhileNeeded();
    return record;
}

bool QueueState::retry() {
    LaterLines lines;
    const std::lock_guard lock(mutex_);
    if (!pending_.empty()) static_cast<void>(writePending(lines));  // what fails stays in memory, and is logged
    if (owesConsumption_ && pending_.empty() && !held_) hold(lines);
    if (owesSync_) syncAgain(lines);
    releaseIfIdle();
    stayWhileNeeded();
    return !owesAnything();
}

bool QueueState::owesAnything() const { return !pending_.empty() || owesConsumption_ || owesSync_; }

bool QueueState::isUnread(std::uint64_t scope) {
    const std::lock_guard lock(mutex_);
    return unread_.contains(scope);
}

void QueueState::giveBack(std::uint64_t scope) {
    const std::lock_guard lock(mutex_);
    unread_.erase(scope);
    claims_.erase(scope);
    taken_ = survey_.consumed;
    for (const auto& claim : claims_) taken_.add(claim.second);
    position_ = 0;
    auto& frames = poppedFromMemory_[scope];
    for (; !frames.empty(); frames.pop_back()) pending_.pushFront(std::move(frames.back()));
    poppedFromMemory_.erase(scope);
    releaseIfIdle();
    stayWhileNeeded();
}

void QueueState::finish(std::uint64_t scope) {
    LaterLines lines;
    const std::lock_guard lock(mutex_);
    unread_.erase(scope);
    poppedFromMemory_.erase(scope);
    if (!claims_.contains(scope)) return;
    if (!held_) hold(lines);  // shows whether it is still the file that the claims are for
    const auto ended = claims_.find(scope);
    if (ended != claims_.end()) {
        survey_.consumed.add(ended->second);
        claims_.erase(ended);
        deferred_.erase(scope);
        owesConsumption_ = true;
        if (held_) writeConsumption(lines);
    }
    releaseIfIdle();
    stayWhileNeeded();
}

bool QueueState::defer(std::uint64_t scope) {
    const std::lock_guard lock(mutex_);
    unread_.erase(scope);
    poppedFromMemory_.erase(scope);
    if (!claims_.contains(scope)) return false;
    deferred_.insert(scope);
    releaseIfIdle();
    return true;
}

QueueState::Hold QueueState::hold(LaterLines& lines) {
    if (!pending_.empty()) static_cast<void>(writePending(lines));  // what fails stays in memory, and is logged
    constexpr int attempts = 3;  // one more each time that a foreign file had to leave the path
    for (int attempt = 0; attempt < attempts; ++attempt) {
        auto file = Platform::current().fileSystem->open(path_, OpenMode::Append);
        if (!file && isMissing(file.error())) {
            forgetFile();
            return Hold::noFile;
        }
        if (!file) {
            if (isNoFile(file.error()) && setAside(name_, "no file", lines)) continue;
            noteFailure("read", file.error(), lines);
            return Hold::failed;
        }
        if (const auto state = holdFile(std::move(*file), lines); state != Hold::noFile) return state;
    }
    return Hold::failed;
}

/// "No file" means that the file has left the path, and that there may be another.
QueueState::Hold QueueState::holdFile(std::unique_ptr<platform::File> file, LaterLines& lines) {
    auto held = std::make_unique<Held>(std::move(file));
    auto done = lock(*held->file);
    auto size = done ? held->file->size() : Result<std::uint64_t>(done.error());
    if (size) done = survey(held->source, *size);
    if (!done || !size) {
        const auto error = done ? size.error() : done.error();
        if (isMissing(error)) return Hold::noFile;  // another process has removed it
        noteFailure("read", error, lines);
        return Hold::failed;
    }
    failuresLogged_.erase("read");
    if (survey_.isForeign()) return moveAway(*held->file, lines);
    failuresLogged_.erase("set aside");
    if (survey_.size > survey_.end && held->file->truncate(survey_.end)) held->source.forget();
    held_ = std::move(held);
    if (owesConsumption_) writeConsumption(lines);
    return Hold::held;
}

QueueState::Hold QueueState::moveAway(platform::File& foreign, LaterLines& lines) {
    forgetFile();
    if (!isStillAtPath(foreign)) return Hold::noFile;  // another process was faster
    auto moved = setAside(name_, "no queue file", lines);
    if (!moved) noteFailure("set aside", moved.error(), lines);
    return moved ? Hold::noFile : Hold::failed;
}

Result<void> QueueState::survey(ByteSource& source, std::uint64_t size) {
    auto bytes = source.at(0, queue_format::headerSize);
    if (!bytes) return bytes.error();
    if (!isKnown(queue_format::readHeader(*bytes)) || size < survey_.end) forgetFile();
    auto done = surveyQueue(source, survey_);
    taken_.add(survey_.consumed);
    return done;
}

/// Whether it is the file that was read before.
bool QueueState::isKnown(const std::optional<queue_format::QueueHeader>& header) const {
    return header && header->created != 0 && header == survey_.header;
}

std::optional<QueueCounts> QueueState::count() {
    const std::lock_guard lock(mutex_);
    auto counts = countNow();
    if (!counts && !isMissing(counts.error())) return std::nullopt;
    auto all = counts ? *counts : QueueCounts();
    all.unread += pending_.size();
    return all;
}

Result<QueueCounts> QueueState::countNow() {
    if (held_) return countFile(*held_->file);
    auto file = openLocked();
    if (!file) return file.error();
    return countFile(**file);
}

Result<void> QueueState::remove(const std::function<void(const QueueCounts&)>& beforeRemoval) {
    const std::lock_guard lock(mutex_);
    {
        auto file = Result<std::unique_ptr<platform::File>>(nullptr);
        if (!held_) file = openLocked();  // until the file has gone
        if (held_ || file)
            if (const auto counts = countFile(held_ ? *held_->file : **file)) beforeRemoval(*counts);
        if (auto removed = Platform::current().fileSystem->remove(path_); !removed) return removed;
    }
    forgetFile();
    stayWhileNeeded();
    return {};
}

Result<std::unique_ptr<platform::File>> QueueState::openLocked() {
    auto file = Platform::current().fileSystem->open(path_, OpenMode::Read);
    if (!file) return file;
    if (auto locked = lock(**file); !locked) return locked.error();
    return file;
}

Result<QueueCounts> QueueState::countFile(platform::File& file) const {
    FileSource source(file);
    auto start = source.at(0, queue_format::headerSize);
    if (!start) return start.error();
    return countQueue(source, isKnown(queue_format::readHeader(*start)) ? taken_ : ByteRanges());
}

std::vector<std::string> QueueState::namesInMemory() {
    const std::lock_guard lock(registry->mutex);
    std::vector<std::string> names;
    for (const auto& [name, state] : registry->states)
        if (!state.expired()) names.push_back(name);
    return names;
}

std::optional<Dictionary> QueueState::popFromFile(std::uint64_t scope, LaterLines& lines) {
    auto& scanner = held_->scanner;
    auto begin = position_ = taken_.firstOutside(position_);
    scanner.seek(begin);
    for (;;) {
        auto piece = scanner.next();
        if (!piece) {
            noteFailure("read", piece.error(), lines);
            unread_.insert(scope);
            return std::nullopt;
        }
        auto record = piece->kind == Kind::record ? readRecord(piece->payload) : std::nullopt;
        if (piece->kind == Kind::damaged || (piece->kind == Kind::record && !record)) noteDamage(*piece, lines);
        const bool isEnd = piece->kind == Kind::end;
        if (record || isEnd || taken_.contains(piece->end)) claim(scope, begin, piece->end);
        if (record) return record;
        if (isEnd) return popFromMemory(scope);
        if (taken_.contains(begin)) scanner.seek(begin = taken_.firstOutside(piece->end));
    }
}

/// Records that could not be written yet; they follow those of the file.
std::optional<Dictionary> QueueState::popFromMemory(std::uint64_t scope) {
    if (pending_.empty()) return std::nullopt;
    const auto& frame = poppedFromMemory_[scope].emplace_back(pending_.popFront());
    return readRecord(std::string_view(frame).substr(queue_format::frameHeadSize));
}

void QueueState::claim(std::uint64_t scope, std::uint64_t begin, std::uint64_t end) {
    if (begin == end) return;
    claims_[scope].add(begin, end);
    taken_.add(begin, end);
    position_ = taken_.firstOutside(begin);
}

/// Lets other processes in once no scope that runs has a claim.
void QueueState::releaseIfIdle() {
    if (!held_ || claims_.size() > deferred_.size()) return;
    // No one else wrote while it was held, so all that stands in the file is known.
    if (auto size = held_->file->size()) survey_.end = survey_.size = *size;
    static_cast<void>(held_->file->unlock());  // closing it gives the lock back in any case
    held_.reset();
}

void QueueState::forgetFile() {
    held_.reset();
    survey_ = {};
    claims_.clear();
    deferred_.clear();
    taken_ = {};
    position_ = 0;
    owesConsumption_ = false;
}

/// The caller holds a reference of its own.
void QueueState::stayWhileNeeded() {
    self_ = owesAnything() || !failuresLogged_.empty() ? shared_from_this() : nullptr;
    if (owesAnything()) storage_batch::owe(self_);
}

void QueueState::noteFailure(std::string_view what, const std::error_code& error, LaterLines& lines) {
    if (failuresLogged_.emplace(what).second)
        lines.add(fmt::format("DEBUG_HARVELSTONE_STORE : could not {} {} : {}", what, storedFileName(name_),
                              platform::describe(error)));
}

void QueueState::noteDamage(const QueuePiece& piece, LaterLines& lines) {
    lines.add(fmt::format("DEBUG_HARVELSTONE_STORE : {} is damaged, {} bytes at {} passed over", storedFileName(name_),
                          piece.end - piece.begin, piece.begin));
}

}  // namespace harvelstone
