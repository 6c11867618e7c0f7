// The pieces of a queue file as bytes: header, frames, lists of consumed ranges. Pure functions, any thread.

#include "harvelstone/services/queue_format.hpp"

#include <utility>
#include <zlib.h>

#include "harvelstone/platform/Json.hpp"

namespace harvelstone::queue_format {

namespace {

void putLittleEndian(std::string& bytes, std::uint64_t number, unsigned width) {
    for (unsigned i = 0; i < width; ++i) bytes.push_back(static_cast<char>(number >> (8 * i) & 0xFFU));
}

std::uint64_t littleEndian(std::string_view bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) number = number << 8U | static_cast<unsigned char>(bytes[i]);
    return number;
}

/// A range's end as it stands in the file: a whole number from 0.
std::optional<std::uint64_t> readPosition(const Value& value) {
    if (!value.isInteger() || value.integerValue() < 0) return std::nullopt;
    return static_cast<std::uint64_t>(value.integerValue());
}

}  // namespace

std::uint32_t checksum(std::string_view bytes) {
    return static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<z_size_t>(bytes.size())));
}

std::string header(const QueueHeader& values) {
    std::string bytes(headerMagic);
    putLittleEndian(bytes, values.created, 8);
    putLittleEndian(bytes, values.emptied, 4);
    putLittleEndian(bytes, values.records, 4);
    putLittleEndian(bytes, values.damaged, 4);
    putLittleEndian(bytes, checksum(bytes), 4);
    return bytes;
}

std::optional<QueueHeader> readHeader(std::string_view bytes) {
    if (bytes.size() < headerSize || !bytes.starts_with(headerMagic)) return std::nullopt;
    const auto numberAt = [&](std::size_t offset) {
        return static_cast<std::uint32_t>(littleEndian(bytes.substr(offset, 4)));
    };
    if (numberAt(28) != checksum(bytes.substr(0, 28))) return std::nullopt;
    return QueueHeader{littleEndian(bytes.substr(8, 8)), numberAt(16), numberAt(20), numberAt(24)};
}

std::string frame(FrameType type, std::string_view payload) {
    std::string bytes;
    bytes.reserve(frameHeadSize + payload.size());
    bytes += frameMarker;
    bytes.push_back(static_cast<char>(type));
    putLittleEndian(bytes, payload.size(), 3);
    putLittleEndian(bytes, checksum(payload), 4);
    putLittleEndian(bytes, checksum(std::string_view(bytes).substr(frameMarker.size())), 4);
    bytes += payload;
    return bytes;
}

std::optional<FrameHead> readFrameHead(std::string_view bytes) {
    if (bytes.size() < frameHeadSize || !bytes.starts_with(frameMarker)) return std::nullopt;
    if (littleEndian(bytes.substr(12, 4)) != checksum(bytes.substr(4, 8))) return std::nullopt;
    const auto type = static_cast<FrameType>(bytes[4]);
    if (type != FrameType::record && type != FrameType::consumed) return std::nullopt;
    return FrameHead{type, static_cast<std::size_t>(littleEndian(bytes.substr(5, 3))),
                     static_cast<std::uint32_t>(littleEndian(bytes.substr(8, 4)))};
}

std::string consumedPayload(const ByteRanges& ranges) {
    List pairs;
    for (const auto& range : ranges.ranges()) pairs.emplace_back(List{range.begin, range.end});
    return platform::jsonText(Value(std::move(pairs)));
}

std::optional<ByteRanges> readConsumedPayload(std::string_view payload, std::uint64_t limit) {
    const auto value = platform::parseJson(payload);
    if (!value || !value->list()) return std::nullopt;
    ByteRanges ranges;
    for (const auto& entry : *value->list()) {
        const auto* pair = entry.list();
        if (!pair || pair->size() != 2) return std::nullopt;
        const auto begin = readPosition((*pair)[0]);
        const auto end = readPosition((*pair)[1]);
        if (!begin || !end || *begin > *end || *end > limit) return std::nullopt;
        ranges.add(*begin, *end);
    }
    return ranges;
}

}  // namespace harvelstone::queue_format
