#include "bench/zlib_alone.hpp"

#include <stdexcept>
#define ZLIB_CONST  // input is only read
#include <zlib.h>

namespace harvelstone::bench {

std::string_view ZlibAlone::compress(std::string_view bytes) {
    constexpr int gzipWindow = 15 + 16;
    constexpr int memoryLevel = 8;
    z_stream stream{};
    if (deflateInit2(&stream, level_, Z_DEFLATED, gzipWindow, memoryLevel, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("zlib: no stream");
    output_.resize(deflateBound(&stream, bytes.size()));
    stream.next_in = reinterpret_cast<const Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(output_.data());
    stream.avail_out = static_cast<uInt>(output_.size());
    const int result = deflate(&stream, Z_FINISH);
    const std::size_t size = stream.total_out;
    deflateEnd(&stream);
    if (result != Z_STREAM_END) throw std::runtime_error("zlib: no whole stream");
    return {output_.data(), size};
}

}  // namespace harvelstone::bench
