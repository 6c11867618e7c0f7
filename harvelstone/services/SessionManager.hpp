#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/Configuration.hpp"
#include "harvelstone/services/NamedMap.hpp"

namespace harvelstone {

/// Visits (sessions), their counters, and the configuration.
///
/// A session ends after the time-out (30 minutes unless set) without activity, or when the host ends it; the next call
/// that needs a session begins a new one. Activity is a `getVisitNew` that is not read-only, a page view, or `touch`.
/// Kept in "BS_SESSION" (the session, page-view counts of the latest sessions) and, for the configuration, in
/// "current_config_file". Any thread may use it.
class SessionManager {
  public:
    static SessionManager& sharedInstance();

    /// The current session's id: upper-case UUID text without separators. Both take a flag for older callers, which is
    /// not looked at.
    std::string getSession(std::optional<int> flag);
    std::string getSid(std::optional<int> flag);

    /// Records the session id of the newest document.
    void updateLastSessionID(const std::string& sessionId);

    /// "Y" when the current session is another than the newest document's, else "N". Read-only, it touches no state.
    std::optional<std::string> getVisitNew(const std::string& documentId, bool isReadOnly);

    /// When that session began, as a date string; absent for a session that is not known.
    std::optional<std::string> getVtTz(const std::string& sessionId);
    /// The session's place among all sessions of this installation, from 1; 0 for a session that is not known.
    std::int64_t getSlotNo(const std::string& sessionId);

    std::int64_t getCsPV(const std::string& sessionId);
    void addCsPV();

    /// Says that the visitor did something.
    void touch();
    /// Ends the visit: what needs a session next begins a new one.
    void endVisit();
    void setVisitTimeout(double seconds);

    std::shared_ptr<const Configuration> getConfig();
    /// Changes settings, by the names of `configurationNames`; null clears one. An unknown name raises
    /// platform::InvalidArgumentException and changes nothing. Kept across restarts.
    void configure(const Dictionary& settings);

    SessionManager();

  private:
    mutable std::recursive_mutex mutex_;
    std::shared_ptr<NamedMap> sessionStore_;
    std::shared_ptr<NamedMap> configStore_;
    std::shared_ptr<const Configuration> config_;
};

}  // namespace harvelstone
