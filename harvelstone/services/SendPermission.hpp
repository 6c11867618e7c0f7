#pragma once

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// Who has said what about sending. The rules are functions of it and the time alone.
struct SendPermission {
    bool hasConsent = true;          ///< of the host
    bool isStoppedByServer = false;  ///< until a later reply, or the host grants its consent again
    double waitBegun = 0;            ///< seconds since 1970
    double waitSeconds = 0;          ///< 0: the server has asked for no wait

    friend bool operator==(const SendPermission&, const SendPermission&) = default;
};

/// The longest wait that a server may ask for, in seconds: a slip of its operator costs a day, not the installation.
inline constexpr double longestWait = 24 * 60 * 60;

/// Whether a document may be sent now. A wait is over at `waitBegun + waitSeconds`, and also while the clock shows a
/// time before its beginning: a clock that was set back never makes it longer.
bool maySend(const SendPermission& permission, double now, bool respectsServerWait);

/// The permission after a reply: "send_allowed" (boolean) and "wait_seconds" (a number; 0 or less ends the wait) count;
/// other members, and these with another kind of value, change nothing.
SendPermission afterReply(SendPermission permission, const Dictionary& reply, double now);

/// The permission after the host's word. Consent granted lifts the server's stop.
SendPermission afterConsent(SendPermission permission, bool granted);

/// As it is stored; a member that is missing or of another kind reads as in a fresh permission.
SendPermission permissionFrom(const Dictionary& stored);
Dictionary toDictionary(const SendPermission& permission);

}  // namespace harvelstone
