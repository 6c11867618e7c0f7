#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone::tools {

/// How much a body may hold, in bytes.
struct BodyLimits {
    std::size_t body = std::size_t{16} << 20U;      ///< as it came over the wire
    std::size_t inflated = std::size_t{64} << 20U;  ///< gunzipped
};

/// A request body, decoded layer by layer.
struct DecodedBody {
    std::size_t gzipBytes = 0;
    std::size_t encodedBytes = 0;
    std::string json;
    Dictionary document;
};

/// A decoded body, or in one line why there is none.
struct BodyDecoding {
    std::optional<DecodedBody> body;
    std::string refusal;
};

/// Gunzips, percent-decodes and parses. Each layer is strict: a stream that is cut off or followed by something else,
/// a "%" without two hexadecimal digits, and JSON that is no object are refused.
BodyDecoding decodeBody(std::string_view bytes, const BodyLimits& limits);

/// The layers by themselves; absent, with the reason in `refusal`, when the bytes are not of that layer.
std::optional<std::string> gunzip(std::string_view bytes, std::size_t limit, std::string& refusal);
std::optional<std::string> percentDecode(std::string_view text, std::string& refusal);

}  // namespace harvelstone::tools
