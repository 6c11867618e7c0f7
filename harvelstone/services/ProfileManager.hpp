#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// The names under which profile values are given and stored: each getter's name without "get", first letter in lower
/// case ("advId", "mbr", "memberLvl", "uvp1", "ltrvnc", ...).
std::span<const std::string_view> profileNames();

/// The profile values with each null replaced by what a fresh install has, since no document can do without: "", false
/// or 0. Unknown names stay as they are.
Dictionary withNullsEmptied(Dictionary profile);

/// The member profile, the session-scoped values (attribution, traces, test variants), the revenue mark, and the
/// permission to send.
///
/// Kept in "current_profile_file" (profile, mark, permission) and "BS_SESSION_MAP" (session-scoped values). Every key
/// that a document's session section needs has a default, so a fresh install needs no set-up. Any thread may use it.
class ProfileManager {
  public:
    static ProfileManager& sharedInstance();

    // Profile. A getter answers absent only where the value was cleared with null.
    std::optional<Value> getAdvId() const;  ///< advertising identifier
    bool getAdvIdFlag() const;              ///< whether the user allows it to be used
    std::optional<Value> getMbr() const;
    std::optional<Value> getMemberLvl() const;
    std::optional<Value> getMemberCd() const;
    std::optional<Value> getGender() const;
    std::optional<Value> getAge() const;
    std::optional<Value> getUvp1() const;
    std::optional<Value> getUvp2() const;
    std::optional<Value> getUvp3() const;
    std::optional<Value> getUvp4() const;
    std::optional<Value> getUvp5() const;
    std::optional<Value> getUserId() const;
    std::int64_t getLtrvnc() const;  ///< number of revenues so far
    std::int64_t getLtrvni() const;  ///< days between revenues, summed
    std::int64_t getUdRvnc() const;  ///< revenues in a row within the return-visit limit
    /// Changes profile values, by the names of `profileNames`; null clears one. `advIdFlag` is a boolean, the three
    /// counters are whole numbers, the others strings or numbers. An unknown name or a value of another kind raises
    /// platform::InvalidArgumentException and changes nothing.
    void setProfile(const Dictionary& values);

    // Revenue.
    bool isMarkRevenue() const;
    void unMarkRevenue();
    /// Marks that a revenue was reported in this visit, and counts it.
    void markRevenue();
    /// Lets the time between revenues count from now on, at the first visit ever. The counters stay as they are.
    void initOrderPTime();

    // Session-scoped values. Texts default to "", numbers to 0, lists to empty, for the keys that a document needs;
    // HV_SOURCE_CLICK_TIME and unknown keys are absent until put. They stay until they are replaced.
    std::optional<Value> getSessionStringData(const std::string& key) const;
    std::int64_t getSessionLongData(const std::string& key) const;
    std::int64_t getSessionIntegerData(const std::string& key) const;
    std::optional<List> getSessionStringListData(const std::string& key) const;
    void putSessionStringData(const std::string& key, const Value& value);
    void putSessionBoolData(const std::string& key, bool value);
    /// Puts any value under any key; null removes it, so that a getter answers absent even where it has a default.
    void putSessionData(const std::string& key, const Value& value);
    /// Empties the list under the key.
    void clearSessionTrace(const std::string& key);

    // Install referrer.
    /// Whether the wait for the install referrer is over.
    bool isInstallReferrerSet() const;
    /// Marks the install referrer as awaited, unless it has already been handed over.
    void setInstallReferrer();

    // Permission to send.
    /// Whether a document may be sent now: the host consents, the server has not stopped us, and the time that it asked
    /// us to wait is over. Without `respectsServerWait` the last is not looked at.
    bool shouldSend(bool respectsServerWait) const;
    /// Applies the server's instructions in a reply; true when the upload must be repeated. Members: "retry",
    /// "traffic_limit_exceeded", "send_allowed" (booleans), "wait_seconds" (a number). All others, and these with
    /// another kind of value, are ignored. Stop and wait are kept across restarts; the traffic limit is not, since
    /// nothing is sent under it and so no reply could ever lift it.
    bool updateResponse(const Dictionary& reply);
    /// The host's consent. Granting it also lifts a stop by the server.
    void setConsent(bool granted);

    ProfileManager() = default;

  private:
    mutable std::mutex mutex_;  // around what reads a store and then writes it
};

}  // namespace harvelstone
