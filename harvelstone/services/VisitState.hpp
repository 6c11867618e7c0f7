#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/services/NamedMap.hpp"

namespace harvelstone {

struct Visit {
    std::string id;
    double started = 0;     ///< seconds since 1970
    std::int64_t slot = 0;  ///< its place among all visits of this installation, from 1
    std::int64_t pageViews = 0;

    friend bool operator==(const Visit&, const Visit&) = default;
};

/// How many visits are remembered: documents of the latest ones may still ask for their start and counts.
inline constexpr std::size_t rememberedVisits = 16;

/// How much later, in seconds, activity must be to be stored again: a burst of records is written once.
inline constexpr double activityResolution = 1;

/// The visits of this installation, as "BS_SESSION" keeps them.
struct VisitState {
    std::vector<Visit> latest;   ///< oldest first; the last is the current one
    std::string lastRecordedId;  ///< the newest document's; empty before the first
    double lastActivity = 0;     ///< in the current visit, seconds since 1970
    bool isEnded = false;        ///< the host ended the current visit
};

/// Whether whatever needs a visit now begins a new one: there is none, it was ended, or strictly more than the
/// time-out has passed since its last activity. A clock that was set back ends no visit.
bool isVisitDue(const VisitState& state, double now, double timeout);

/// Begins a visit, which counts as activity, and forgets the oldest beyond those that are remembered.
void beginVisit(VisitState& state, std::string id, double now);

/// Null for a visit that is not known.
const Visit* findVisit(const VisitState& state, std::string_view id);

/// Whether activity now is worth a write, when the stored one is of that time.
bool isWorthStoring(double storedActivity, double now);

/// From the store; what is missing or damaged is left out.
VisitState readVisitState(const NamedMap& store);
void storeVisits(NamedMap& store, const VisitState& state);
void storeActivity(NamedMap& store, const VisitState& state);
void storeLastRecordedId(NamedMap& store, const VisitState& state);

}  // namespace harvelstone
