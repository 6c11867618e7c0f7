// The rules of send permission: the host's consent, the server's stop, and the wait that it asks for. Stores nothing.
// Any thread.

#include "harvelstone/services/SendPermission.hpp"

#include <algorithm>

namespace harvelstone {

namespace {

constexpr std::string_view consentKey = "consent";
constexpr std::string_view stoppedKey = "stopped_by_server";
constexpr std::string_view waitBegunKey = "wait_begun";
constexpr std::string_view waitSecondsKey = "wait_seconds";

constexpr std::string_view sendAllowedMember = "send_allowed";
constexpr std::string_view waitSecondsMember = "wait_seconds";

bool booleanOr(const Dictionary& values, std::string_view key, bool otherwise) {
    const auto value = findValue(values, key);
    const auto* boolean = value ? value->boolean() : nullptr;
    return boolean != nullptr ? *boolean : otherwise;
}

double number(const Dictionary& values, std::string_view key) {
    const auto value = findValue(values, key);
    return value && value->isNumber() ? value->doubleValue() : 0;
}

bool isWaiting(const SendPermission& permission, double now) {
    return now >= permission.waitBegun && now < permission.waitBegun + permission.waitSeconds;
}

}  // namespace

bool maySend(const SendPermission& permission, double now, bool respectsServerWait) {
    if (!permission.hasConsent || permission.isStoppedByServer) return false;
    return !respectsServerWait || !isWaiting(permission, now);
}

SendPermission afterReply(SendPermission permission, const Dictionary& reply, double now) {
    permission.isStoppedByServer = !booleanOr(reply, sendAllowedMember, !permission.isStoppedByServer);
    const auto wait = findValue(reply, waitSecondsMember);
    if (!wait || !wait->isNumber()) return permission;
    permission.waitSeconds = std::clamp(wait->doubleValue(), 0.0, longestWait);
    permission.waitBegun = permission.waitSeconds > 0 ? now : 0;
    return permission;
}

SendPermission afterConsent(SendPermission permission, bool granted) {
    permission.hasConsent = granted;
    if (granted) permission.isStoppedByServer = false;
    return permission;
}

SendPermission permissionFrom(const Dictionary& stored) {
    return {.hasConsent = booleanOr(stored, consentKey, /*otherwise=*/true),
            .isStoppedByServer = booleanOr(stored, stoppedKey, /*otherwise=*/false),
            .waitBegun = number(stored, waitBegunKey),
            .waitSeconds = std::min(number(stored, waitSecondsKey), longestWait)};
}

Dictionary toDictionary(const SendPermission& permission) {
    Dictionary stored;
    setValue(stored, consentKey, permission.hasConsent);
    setValue(stored, stoppedKey, permission.isStoppedByServer);
    setValue(stored, waitBegunKey, permission.waitBegun);
    setValue(stored, waitSecondsKey, permission.waitSeconds);
    return stored;
}

}  // namespace harvelstone
