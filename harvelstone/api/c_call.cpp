// How failures leave the C face, and how texts enter and leave it. Stores nothing but the calling thread's last error;
// any thread.

#include "harvelstone/api/c_call.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "harvelstone/platform/Json.hpp"
#include "harvelstone/platform/Utf8.hpp"

namespace harvelstone {

namespace {

// No object with a destructor: a host may ask from its own destructors at the end of a thread.
constinit thread_local std::array<char, 1024> lastError{};

/// As much of the text as there is room for, not cut within a character.
std::string_view fitting(std::string_view text) {
    if (text.size() < lastError.size()) return text;
    auto end = lastError.size() - 1;
    const auto isWithinCharacter = [&] { return (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U; };
    while (end > 0 && isWithinCharacter()) --end;
    return text.substr(0, end);
}

platform::InvalidArgumentException refusal(std::string_view what, std::string_view why) {
    return platform::InvalidArgumentException(std::string(what) + " " + std::string(why));
}

}  // namespace

harvelstone_status failed(harvelstone_status status, std::string_view reason) noexcept {
    const auto kept = fitting(reason);
    *std::copy(kept.begin(), kept.end(), lastError.begin()) = '\0';
    return status;
}

std::string requiredText(const char* text, std::string_view what) {
    if (text == nullptr) throw refusal(what, "is NULL");
    return platform::repairedUtf8(text);
}

std::optional<std::string> optionalText(const char* text) {
    if (text == nullptr) return std::nullopt;
    return platform::repairedUtf8(text);
}

Value requiredValue(const char* json, std::string_view what) {
    if (json == nullptr) throw refusal(what, "is NULL");
    auto value = platform::parseJson(json);
    if (!value) throw refusal(what, "is no JSON text");
    return *std::move(value);
}

Dictionary requiredRecord(const char* json, std::string_view what) {
    auto value = requiredValue(json, what);
    if (auto* members = value.dictionary()) return std::move(*members);
    throw refusal(what, "is no JSON object");
}

Dictionary optionalRecord(const char* json, std::string_view what) {
    return json != nullptr ? requiredRecord(json, what) : Dictionary();
}

char* textForHost(const std::string& text) {
    auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy == nullptr) throw std::bad_alloc();
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

}  // namespace harvelstone

const char* harvelstone_last_error() noexcept { return harvelstone::lastError.data(); }

void harvelstone_free_text(char* text) noexcept { std::free(text); }
