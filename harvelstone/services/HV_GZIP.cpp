// Compression of request bodies with zlib. Stores nothing. Any thread; each call has a stream of its own.

#include "harvelstone/services/HV_GZIP.hpp"

#include <array>
#include <fmt/format.h>
#define ZLIB_CONST  // input is only read
#include <zlib.h>

#include "harvelstone/platform/Exception.hpp"

namespace harvelstone {

namespace {

/// Measured on documents of 8 to 700 KB: the best level takes 5 to 8 % off the size for two to four times the time, the
/// fastest adds a fifth and more.
constexpr int compressionLevel = 6;

constexpr int largestWindow = 15;
constexpr int gzipWrapper = 16;  // added to the window, it asks for a gzip header and trailer
constexpr int usualMemoryLevel = 8;
constexpr int unknownSystem = 255;  // RFC 1952, OS

/// zlib counts input in 32 bits, so a long text is fed piece by piece.
constexpr std::size_t longestPiece = std::size_t{1} << 24;
constexpr std::size_t outputPiece = std::size_t{1} << 14;

/// A deflate stream that is ended whatever happens.
class GzipStream {
  public:
    GzipStream() {
        const int result = deflateInit2(&stream_, compressionLevel, Z_DEFLATED, largestWindow + gzipWrapper,
                                        usualMemoryLevel, Z_DEFAULT_STRATEGY);
        if (result != Z_OK) throw platform::Exception(fmt::format("gzip cannot start, zlib says {}", result));
        header_.os = unknownSystem;  // zlib would name the system that it was built for
        deflateSetHeader(&stream_, &header_);
    }
    ~GzipStream() { deflateEnd(&stream_); }
    GzipStream(const GzipStream&) = delete;
    GzipStream& operator=(const GzipStream&) = delete;

    /// Compresses the piece, and at the finish the rest that zlib still holds; appends what comes out.
    void compress(std::string_view piece, int flush, std::string& output) {
        stream_.next_in = reinterpret_cast<const Bytef*>(piece.data());
        stream_.avail_in = static_cast<uInt>(piece.size());
        do {
            stream_.next_out = buffer_.data();
            stream_.avail_out = static_cast<uInt>(buffer_.size());
            deflate(&stream_, flush);  // cannot fail with a live stream and room to write
            output.append(reinterpret_cast<const char*>(buffer_.data()), buffer_.size() - stream_.avail_out);
        } while (stream_.avail_out == 0);
    }

  private:
    z_stream stream_{};
    gz_header header_{};
    std::array<Bytef, outputPiece> buffer_{};
};

}  // namespace

std::string HV_GZIP::gzippedData(std::string_view bytes) const {
    return gzippedPieces([&] {
        const auto piece = bytes.substr(0, longestPiece);
        bytes.remove_prefix(piece.size());
        return piece;
    });
}

std::string HV_GZIP::gzippedPieces(const std::function<std::string_view()>& nextPiece, std::size_t likelySize) const {
    GzipStream stream;
    std::string output;
    output.reserve(likelySize);
    for (auto piece = nextPiece(); !piece.empty(); piece = nextPiece()) stream.compress(piece, Z_NO_FLUSH, output);
    stream.compress({}, Z_FINISH, output);
    return output;
}

}  // namespace harvelstone
