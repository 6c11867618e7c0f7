#include "harvelstone/platform/Utf8.hpp"

#include <cstddef>
#include <simdjson.h>

#include "harvelstone/platform/NeverDestroyed.hpp"

namespace harvelstone::platform {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// What a first byte promises: how many bytes follow, and the range of the second one (it keeps out overlong forms,
/// surrogates and everything above U+10FFFF).
struct Lead {
    std::size_t followers = 0;
    unsigned char lowestSecond = 0x80;
    unsigned char highestSecond = 0xBF;
};

constexpr std::size_t noLead = static_cast<std::size_t>(-1);

Lead leadOf(unsigned char byte) {
    if (byte < 0x80) return {0};
    if (byte < 0xC2) return {noLead};
    if (byte < 0xE0) return {1};
    if (byte == 0xE0) return {2, 0xA0, 0xBF};
    if (byte == 0xED) return {2, 0x80, 0x9F};
    if (byte < 0xF0) return {2};
    if (byte == 0xF0) return {3, 0x90, 0xBF};
    if (byte < 0xF4) return {3};
    if (byte == 0xF4) return {3, 0x80, 0x8F};
    return {noLead};
}

/// The length of the well-formed sequence at the text's start; 0 if there is none.
std::size_t sequenceLength(std::string_view text) {
    const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const auto lead = leadOf(byteAt(0));
    if (lead.followers == noLead || lead.followers >= text.size()) return 0;
    for (std::size_t index = 1; index <= lead.followers; ++index) {
        const auto lowest = index == 1 ? lead.lowestSecond : 0x80;
        const auto highest = index == 1 ? lead.highestSecond : 0xBF;
        if (byteAt(index) < lowest || byteAt(index) > highest) return 0;
    }
    return lead.followers + 1;
}

}  // namespace

bool isValidUtf8(std::string_view text) {
    // The implementation that simdjson keeps for itself goes with the exit of the process, while workers still run.
    static NeverDestroyed<const simdjson::builtin::implementation> lasting;
    return lasting->validate_utf8(text.data(), text.size());
}

std::string repairedUtf8(std::string_view text) {
    std::string repaired;
    repaired.reserve(text.size());
    while (!text.empty()) {
        const auto length = sequenceLength(text);
        repaired.append(length == 0 ? replacementCharacter : text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return repaired;
}

}  // namespace harvelstone::platform
