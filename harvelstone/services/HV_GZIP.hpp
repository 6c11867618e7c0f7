#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace harvelstone {

/// Compression of request bodies.
class HV_GZIP {
  public:
    /// The bytes as one gzip stream (RFC 1952), without name and time. Raises platform::Exception when there is no
    /// memory.
    std::string gzippedData(std::string_view bytes) const;

    /// The same for bytes that come piece by piece; an empty piece is their end. There is room for so much from the
    /// beginning: an output that has to grow is in memory twice.
    std::string gzippedPieces(const std::function<std::string_view()>& nextPiece, std::size_t likelySize = 0) const;
};

}  // namespace harvelstone
