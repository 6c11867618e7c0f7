#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "harvelstone/services/ByteRanges.hpp"

/// The constants and the pieces of a queue file. docs/storage.md describes it byte by byte.
namespace harvelstone::queue_format {

// Header: magic, created (8), emptied (4), records (4), damaged (4), CRC-32 of all before it (4).
inline constexpr std::string_view headerMagic = "HVQUEUE1";
inline constexpr std::size_t headerSize = 32;

// Frame: marker, type (1), length of the payload (3), CRC-32 of the payload (4), CRC-32 of these eight bytes (4),
// payload. The marker's first byte never stands in a payload, which is UTF-8.
inline constexpr std::string_view frameMarker = "\xFEHV\xFF";
inline constexpr std::size_t frameHeadSize = 16;
inline constexpr std::size_t longestPayload = (1U << 24U) - 1;

/// Tells one file of a name from the next one of the same name, so that a place in the one is not taken for a place
/// in the other; and what stood in the file before it was emptied.
struct QueueHeader {
    std::uint64_t created = 0;  ///< when the file was made, microseconds since 1970; 0 when nobody knows
    std::uint32_t emptied = 0;  ///< how often the file was emptied since
    std::uint32_t records = 0;  ///< consumed records that stood in it each time, summed
    std::uint32_t damaged = 0;  ///< damaged stretches likewise

    friend bool operator==(const QueueHeader&, const QueueHeader&) = default;
};

std::string header(const QueueHeader& values);
/// The header at the beginning of the bytes; absent when there is no sound one.
std::optional<QueueHeader> readHeader(std::string_view bytes);

enum class FrameType : char {
    record = 'R',    ///< payload: a JSON object
    consumed = 'C',  ///< payload: a JSON list of [begin, end] pairs, every range of the file that was consumed so far
};

/// Undefined for a payload longer than `longestPayload`.
std::string frame(FrameType type, std::string_view payload);

struct FrameHead {
    FrameType type = FrameType::record;
    std::size_t payloadSize = 0;
    std::uint32_t payloadChecksum = 0;
};
/// The head of a frame at the beginning of the bytes; absent when there is no sound one.
std::optional<FrameHead> readFrameHead(std::string_view bytes);

/// CRC-32 as zlib, gzip and PNG compute it.
std::uint32_t checksum(std::string_view bytes);

std::string consumedPayload(const ByteRanges& ranges);
/// Absent when the text is no list of ranges that end at or before the limit.
std::optional<ByteRanges> readConsumedPayload(std::string_view payload, std::uint64_t limit);

}  // namespace harvelstone::queue_format
