#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/Configuration.hpp"
#include "harvelstone/services/VisitState.hpp"

namespace harvelstone {

/// Visits (sessions), their counters, and the configuration.
///
/// A session ends after the time-out (30 minutes unless set) without activity, or when the host ends it; the next call
/// that needs a session begins a new one. Activity is a `getVisitNew` that is not read-only, a page view, or `touch`.
/// A clock that is set back neither ends a session nor keeps it: the next activity counts from the new time. Kept in
/// "BS_SESSION" (the latest sessions with their page views, the latest activity) and, for the configuration, in
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
    /// For this process; 30 minutes unless set. A time that is not above zero raises
    /// platform::InvalidArgumentException.
    void setVisitTimeout(double seconds);

    /// The configuration now: the same picture until a setting changes or a session begins, so it costs nothing to ask
    /// again. What the device tells (its connection, language, time zone, ...) is as it was when the picture was made.
    std::shared_ptr<const Configuration> getConfig();
    /// Changes settings, by the names of `configurationNames`; null clears one. `debug` is a boolean, `pfno` and
    /// `returnVisitDate` are whole numbers, the others strings or numbers. An unknown name or a value of another kind
    /// raises platform::InvalidArgumentException and changes nothing. Kept across restarts.
    ///
    /// `debug` switches the debug log on and off at once; a stored `true` switches it on at the next start.
    void configure(const Dictionary& settings);

    SessionManager() = default;
    explicit SessionManager(platform::OfParent<SessionManager> parents)
        : visitTimeout_(parents.object.visitTimeout_.load()) {}

  private:
    void prepareOnce();
    /// Each is called with the mutex held; the visit that it gives is the current one.
    VisitState& state(const NamedMap& store);
    Visit& currentVisit(NamedMap& store, double now);
    void noteActivity(NamedMap& store, double now);

    std::atomic<bool> isStarted_{false};
    mutable std::recursive_mutex mutex_;  // what the device does when it is asked may come back here
    std::optional<VisitState> state_;     // read at its first use
    double storedActivity_ = 0;
    std::atomic<double> visitTimeout_ = 1800;      // 30 minutes, what the field calls a visit
    std::shared_ptr<const Configuration> config_;  // null: to be made afresh
};

}  // namespace harvelstone
