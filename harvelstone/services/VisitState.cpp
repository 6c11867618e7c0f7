// The rules of visits, and how "BS_SESSION" keeps them: reads and writes its keys "sessions", "activity" and
// "last_recorded_id". Any thread that holds the state.

#include "harvelstone/services/VisitState.hpp"

#include <algorithm>

#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/counting_rules.hpp"

namespace harvelstone {

namespace {

constexpr std::string_view sessionsKey = "sessions";
constexpr std::string_view idKey = "id";
constexpr std::string_view startedKey = "started";
constexpr std::string_view slotKey = "slot";
constexpr std::string_view pageViewsKey = "page_views";

constexpr std::string_view activityKey = "activity";
constexpr std::string_view lastKey = "last";
constexpr std::string_view endedKey = "ended";

constexpr std::string_view lastRecordedIdKey = "last_recorded_id";

/// Ours have 32 bytes. What can be no part of a file's name would keep every document from being made.
bool isSessionId(std::string_view id) {
    constexpr std::size_t longest = 64;
    return id.size() <= longest && canBeStored(id);
}

std::string text(const std::optional<Value>& value) { return value && value->string() ? *value->string() : ""; }

Visit visitFrom(const Dictionary& stored) {
    return {.id = text(findValue(stored, idKey)),
            .started = doubleValue(findValue(stored, startedKey)),
            .slot = integerValue(findValue(stored, slotKey)),
            .pageViews = integerValue(findValue(stored, pageViewsKey))};
}

Dictionary toDictionary(const Visit& visit) {
    Dictionary stored;
    setValue(stored, idKey, visit.id);
    setValue(stored, startedKey, visit.started);
    setValue(stored, slotKey, visit.slot);
    setValue(stored, pageViewsKey, visit.pageViews);
    return stored;
}

}  // namespace

bool isVisitDue(const VisitState& state, double now, double timeout) {
    return state.latest.empty() || state.isEnded || now > state.lastActivity + timeout;
}

void beginVisit(VisitState& state, std::string id, double now) {
    auto& latest = state.latest;
    const auto slotBefore = latest.empty() ? 0 : latest.back().slot;
    latest.push_back({.id = std::move(id), .started = now, .slot = oneMore(slotBefore), .pageViews = 0});
    while (latest.size() > rememberedVisits) latest.erase(latest.begin());
    state.lastActivity = now;
    state.isEnded = false;
}

const Visit* findVisit(const VisitState& state, std::string_view id) {
    const auto found =
        std::find_if(state.latest.begin(), state.latest.end(), [&](const Visit& visit) { return visit.id == id; });
    return found == state.latest.end() ? nullptr : &*found;
}

bool isWorthStoring(double storedActivity, double now) {
    return now < storedActivity || now >= storedActivity + activityResolution;
}

VisitState readVisitState(const NamedMap& store) {
    VisitState state;
    for (const auto& stored : store.getMutableArray(sessionsKey)) {
        if (!stored.dictionary()) continue;
        auto visit = visitFrom(*stored.dictionary());
        if (isSessionId(visit.id)) state.latest.push_back(std::move(visit));
    }
    const auto activity = store.getMutableDictionary(activityKey);
    state.lastActivity = doubleValue(findValue(activity, lastKey));
    state.isEnded = integerValue(findValue(activity, endedKey)) != 0;
    state.lastRecordedId = text(store.get(lastRecordedIdKey));
    return state;
}

void storeVisits(NamedMap& store, const VisitState& state) {
    List sessions;
    for (const auto& visit : state.latest) sessions.emplace_back(toDictionary(visit));
    store.putMutableArray(sessionsKey, std::move(sessions));
}

void storeActivity(NamedMap& store, const VisitState& state) {
    Dictionary activity;
    setValue(activity, lastKey, state.lastActivity);
    setValue(activity, endedKey, state.isEnded);
    store.putDictionary(activityKey, std::move(activity));
}

void storeLastRecordedId(NamedMap& store, const VisitState& state) {
    store.putString(lastRecordedIdKey, state.lastRecordedId);
}

}  // namespace harvelstone
