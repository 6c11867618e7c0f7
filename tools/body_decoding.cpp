// What a server does with an upload's body, the wrong way round from how the library makes it.

#include "tools/body_decoding.hpp"

#include <array>
#include <fmt/format.h>
#include <limits>
#include <zlib.h>

#include "harvelstone/platform/Json.hpp"

namespace harvelstone::tools {

namespace {

/// zlib's stream, ended whichever way the scope is left.
class InflateStream {
  public:
    InflateStream() {
        constexpr int gzipOnly = 16;
        isReady_ = inflateInit2(&stream_, MAX_WBITS + gzipOnly) == Z_OK;
    }
    ~InflateStream() {
        if (isReady_) inflateEnd(&stream_);
    }
    InflateStream(const InflateStream&) = delete;
    InflateStream& operator=(const InflateStream&) = delete;

    bool isReady() const { return isReady_; }
    z_stream& operator*() { return stream_; }
    z_stream* operator->() { return &stream_; }

  private:
    z_stream stream_{};
    bool isReady_ = false;
};

int hexDigit(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    return -1;
}

}  // namespace

std::optional<std::string> gunzip(std::string_view bytes, std::size_t limit, std::string& refusal) {
    InflateStream stream;
    if (!stream.isReady() || bytes.size() > std::numeric_limits<uInt>::max()) {
        refusal = "the gzip stream cannot be read";
        return std::nullopt;
    }
    std::string input(bytes);
    // zlib's interface takes the input as bytes without const and without sign.
    stream->next_in = reinterpret_cast<Bytef*>(input.data());
    stream->avail_in = static_cast<uInt>(input.size());

    std::string output;
    std::array<char, 65536> buffer{};
    for (;;) {
        stream->next_out = reinterpret_cast<Bytef*>(buffer.data());
        stream->avail_out = static_cast<uInt>(buffer.size());
        const int status = inflate(&*stream, Z_NO_FLUSH);
        output.append(buffer.data(), buffer.size() - stream->avail_out);
        if (output.size() > limit) {
            refusal = fmt::format("the gunzipped body is larger than {} bytes", limit);
            return std::nullopt;
        }
        if (status == Z_STREAM_END) {
            if (stream->avail_in == 0) return output;
            if (inflateReset(&*stream) == Z_OK) continue;  // a stream may have several members
        }
        if (status != Z_OK) {
            refusal = input.empty() ? "the body is empty" : "the body is no whole gzip stream";
            return std::nullopt;
        }
    }
}

std::optional<std::string> percentDecode(std::string_view text, std::string& refusal) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded.push_back(text[i]);
            continue;
        }
        const int high = i + 1 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
        if (high < 0 || low < 0) {
            refusal =
                fmt::format("no two hexadecimal digits after the \"%\" at byte {} of the percent-encoded text", i);
            return std::nullopt;
        }
        decoded.push_back(static_cast<char>(static_cast<unsigned char>(high * 16 + low)));
        i += 2;
    }
    return decoded;
}

BodyDecoding decodeBody(std::string_view bytes, const BodyLimits& limits) {
    BodyDecoding result;
    if (bytes.size() > limits.body) {
        result.refusal = fmt::format("the body is larger than {} bytes", limits.body);
        return result;
    }
    const auto encoded = gunzip(bytes, limits.inflated, result.refusal);
    if (!encoded) return result;
    auto json = percentDecode(*encoded, result.refusal);
    if (!json) return result;
    auto value = platform::parseJson(*json, platform::storedJsonDepthLimit);
    if (!value) {
        result.refusal = "the decoded text is no JSON in UTF-8";
        return result;
    }
    if (!value->dictionary()) {
        result.refusal = "the decoded JSON is no object";
        return result;
    }
    result.body = DecodedBody{bytes.size(), encoded->size(), std::move(*json), std::move(*value->dictionary())};
    return result;
}

}  // namespace harvelstone::tools
