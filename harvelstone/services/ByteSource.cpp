// Reading of bytes from memory or in chunks from an open file. Used by one thread at a time.

#include "harvelstone/services/ByteSource.hpp"

#include <algorithm>
#include <span>

namespace harvelstone {

namespace {

constexpr std::size_t largestChunk = 256U << 10U;

/// Kept before what was asked for, because a reader that finds a frame unsound goes back to its head.
constexpr std::size_t lookBack = 64;

}  // namespace

platform::Result<std::string_view> MemorySource::at(std::uint64_t offset, std::size_t /*wanted*/) {
    if (offset >= bytes_.size()) return std::string_view();
    return bytes_.substr(static_cast<std::size_t>(offset));
}

platform::Result<std::string_view> FileSource::at(std::uint64_t offset, std::size_t wanted) {
    const auto held = [&] { return offset >= base_ && offset - base_ <= buffer_.size(); };
    if (!held()) {
        buffer_.clear();
        base_ = offset;
    }
    auto start = static_cast<std::size_t>(offset - base_);
    if (buffer_.size() - start < wanted) {
        const auto dropped = start - std::min(start, lookBack);
        buffer_.erase(0, dropped);
        base_ += dropped;
        start -= dropped;
        const auto target = start + std::max(wanted, chunk_);
        if (auto done = readOn(target); !done) return done.error();
        if (buffer_.size() == target) chunk_ = std::min(2 * chunk_, largestChunk);
    }
    return std::string_view(buffer_).substr(start);
}

platform::Result<void> FileSource::readOn(std::size_t target) {
    std::size_t filled = buffer_.size();
    buffer_.resize(std::max(target, filled));
    while (filled < buffer_.size()) {
        auto space = std::as_writable_bytes(std::span(buffer_)).subspan(filled);
        auto count = file_.read(space, base_ + filled);
        if (!count) {
            buffer_.resize(filled);
            return count.error();
        }
        if (*count == 0) break;
        filled += *count;
    }
    buffer_.resize(filled);
    return {};
}

}  // namespace harvelstone
