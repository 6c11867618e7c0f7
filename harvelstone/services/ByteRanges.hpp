#pragma once

#include <cstdint>
#include <vector>

namespace harvelstone {

/// A set of byte positions, kept as ranges that neither touch nor overlap, in rising order.
class ByteRanges {
  public:
    struct Range {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;  ///< the first position behind the range
        friend bool operator==(const Range&, const Range&) = default;
    };

    void add(std::uint64_t begin, std::uint64_t end);
    void add(const ByteRanges& other);

    /// The first position at or behind this one that is not in the set.
    std::uint64_t firstOutside(std::uint64_t position) const;
    bool contains(std::uint64_t position) const { return firstOutside(position) != position; }

    const std::vector<Range>& ranges() const { return ranges_; }

    friend bool operator==(const ByteRanges&, const ByteRanges&) = default;

  private:
    std::vector<Range> ranges_;
};

}  // namespace harvelstone
