// A set of byte positions: which parts of a queue file are consumed or spoken for. Pure values, no thread of its own.

#include "harvelstone/services/ByteRanges.hpp"

#include <algorithm>

namespace harvelstone {

void ByteRanges::add(std::uint64_t begin, std::uint64_t end) {
    if (begin >= end) return;
    if (!ranges_.empty() && ranges_.back().end == begin) {  // the usual case: reading on
        ranges_.back().end = end;
        return;
    }
    // Every range that overlaps or touches the new one melts into it.
    const auto first = std::partition_point(ranges_.begin(), ranges_.end(), [&](auto& r) { return r.end < begin; });
    const auto last = std::partition_point(first, ranges_.end(), [&](auto& r) { return r.begin <= end; });
    if (first == last) {
        ranges_.insert(first, {begin, end});
        return;
    }
    first->begin = std::min(first->begin, begin);
    first->end = std::max(std::prev(last)->end, end);
    ranges_.erase(std::next(first), last);
}

void ByteRanges::add(const ByteRanges& other) {
    for (const auto& range : other.ranges_) add(range.begin, range.end);
}

std::uint64_t ByteRanges::firstOutside(std::uint64_t position) const {
    const auto range = std::partition_point(ranges_.begin(), ranges_.end(), [&](auto& r) { return r.end <= position; });
    return range != ranges_.end() && range->begin <= position ? range->end : position;
}

}  // namespace harvelstone
