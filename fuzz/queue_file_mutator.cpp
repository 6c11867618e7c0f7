// Most changes of a queue's bytes break a checksum, behind which nothing more is looked at. So most are repaired.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "harvelstone/services/queue_format.hpp"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

using namespace harvelstone::queue_format;

/// Puts a sound head before the payload that begins behind the marker at the place; one that reaches to the next marker
/// when the length in the head is beyond the end.
void repairFrame(std::string& bytes, std::size_t marker) {
    const auto lengthPlace = marker + frameMarker.size() + 1;
    const auto payload = marker + frameHeadSize;
    std::size_t length = 0;
    for (std::size_t i = 3; i-- > 0;) length = length << 8U | static_cast<unsigned char>(bytes[lengthPlace + i]);
    if (length > bytes.size() - payload) length = std::min(bytes.find(frameMarker, payload), bytes.size()) - payload;
    const auto type = static_cast<FrameType>(bytes[marker + frameMarker.size()]);
    bytes.replace(marker, frameHeadSize, frame(type, bytes.substr(payload, length)), 0, frameHeadSize);
}

void repair(std::string& bytes) {
    if (bytes.size() >= headerSize && bytes.starts_with(headerMagic))
        bytes.replace(0, headerSize,
                      header({.created = 1479259200,
                              .emptied = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[16]))}));
    for (auto marker = bytes.find(frameMarker); marker != std::string::npos && bytes.size() - marker >= frameHeadSize;
         marker = bytes.find(frameMarker, marker + frameHeadSize))
        repairFrame(bytes, marker);
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
    const auto newSize = LLVMFuzzerMutate(data, size, maxSize);
    constexpr unsigned leftBroken = 4;  // one of so many
    if (seed % leftBroken == 0) return newSize;
    std::string bytes(reinterpret_cast<const char*>(data), newSize);
    repair(bytes);
    bytes.copy(reinterpret_cast<char*>(data), newSize);
    return newSize;
}
