// Frames of record queues that wait in memory for a disk that takes them. Stores nothing. The bytes are counted for the
// whole process; each object is used under the lock of its queue's state.

#include "harvelstone/services/PendingFrames.hpp"

#include <atomic>
#include <utility>

#include "harvelstone/platform/PerProcess.hpp"

namespace harvelstone {

namespace {

constexpr std::size_t batchBytes = 256U << 10U;

constinit platform::PerProcess<std::atomic<std::size_t>> bytesOfProcess;

}  // namespace

PendingFrames::~PendingFrames() {
    while (!empty()) popFront();
}

void PendingFrames::pushBack(std::string frame) {
    *bytesOfProcess += frame.size();
    frames_.push_back(std::move(frame));
}

void PendingFrames::pushFront(std::string frame) {
    *bytesOfProcess += frame.size();
    frames_.push_front(std::move(frame));
}

std::string PendingFrames::popFront() {
    auto frame = std::move(frames_.front());
    frames_.pop_front();
    *bytesOfProcess -= frame.size();
    return frame;
}

void PendingFrames::dropNewest() {
    *bytesOfProcess -= frames_.back().size();
    frames_.pop_back();
}

bool PendingFrames::areTooMany() { return *bytesOfProcess > mostBytes; }

PendingFrames::Batch PendingFrames::oldest() const {
    Batch batch;
    for (const auto& frame : frames_) {
        if (batch.frames > 0 && batch.bytes.size() + frame.size() > batchBytes) break;
        batch.bytes += frame;
        ++batch.frames;
    }
    return batch;
}

void PendingFrames::drop(const Batch& written) {
    for (std::size_t i = 0; i < written.frames; ++i) popFront();
}

void PendingFrames::dropWhole(std::size_t bytes) {
    while (!empty() && frames_.front().size() <= bytes) bytes -= popFront().size();
}

}  // namespace harvelstone
