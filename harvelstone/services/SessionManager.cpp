// Visits: when one begins and ends, its number, start and page views. Keeps them in "BS_SESSION" (see VisitState). Any
// thread; the mutex is given back before anything is written, so that no log line is written under it.

#include "harvelstone/services/SessionManager.hpp"

#include <algorithm>
#include <fmt/format.h>

#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/counting_rules.hpp"
#include "harvelstone/services/service_stores.hpp"

namespace harvelstone {

namespace {

std::string newVisitId() {
    auto id = platform::Platform::current().device->uuidText();
    std::erase(id, '-');
    return id;
}

}  // namespace

SessionManager& SessionManager::sharedInstance() {
    static constinit platform::PerProcess<SessionManager> instance;
    instance->prepareOnce();
    return *instance;
}

VisitState& SessionManager::state(const NamedMap& store) {
    if (!state_) {
        state_ = readVisitState(store);
        storedActivity_ = state_->lastActivity;
    }
    return *state_;
}

Visit& SessionManager::currentVisit(NamedMap& store, double now) {
    auto& visits = state(store);
    if (isVisitDue(visits, now, visitTimeout_)) {
        beginVisit(visits, newVisitId(), now);
        storeVisits(store, visits);
        storeActivity(store, visits);
        storedActivity_ = now;
        config_.reset();  // the device may be elsewhere by now
    }
    return visits.latest.back();
}

void SessionManager::noteActivity(NamedMap& store, double now) {
    state(store).lastActivity = now;
    if (!isWorthStoring(storedActivity_, now)) return;
    storeActivity(store, *state_);
    storedActivity_ = now;
}

std::string SessionManager::getSession(std::optional<int> /*flag*/) {
    const StorageBatch batch;
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    return currentVisit(*store, BSUtil::currentTimeMillis()).id;
}

std::string SessionManager::getSid(std::optional<int> flag) { return getSession(flag); }

void SessionManager::updateLastSessionID(const std::string& sessionId) {
    const StorageBatch batch;
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    state(*store).lastRecordedId = sessionId;
    storeLastRecordedId(*store, *state_);
}

std::optional<std::string> SessionManager::getVisitNew(const std::string& /*documentId*/, bool isReadOnly) {
    const StorageBatch batch;
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    const double now = BSUtil::currentTimeMillis();
    if (isReadOnly && isVisitDue(state(*store), now, visitTimeout_)) return "Y";
    const bool isNew = currentVisit(*store, now).id != state_->lastRecordedId;
    if (!isReadOnly) noteActivity(*store, now);
    return isNew ? "Y" : "N";
}

std::optional<std::string> SessionManager::getVtTz(const std::string& sessionId) {
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    const auto* visit = findVisit(state(*store), sessionId);
    return visit != nullptr ? std::optional(platform::dateString(visit->started)) : std::nullopt;
}

std::int64_t SessionManager::getSlotNo(const std::string& sessionId) {
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    const auto* visit = findVisit(state(*store), sessionId);
    return visit != nullptr ? visit->slot : 0;
}

std::int64_t SessionManager::getCsPV(const std::string& sessionId) {
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    const auto* visit = findVisit(state(*store), sessionId);
    return visit != nullptr ? visit->pageViews : 0;
}

void SessionManager::addCsPV() {
    const StorageBatch batch;
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    const double now = BSUtil::currentTimeMillis();
    auto& visit = currentVisit(*store, now);
    visit.pageViews = oneMore(visit.pageViews);
    storeVisits(*store, *state_);
    noteActivity(*store, now);
}

void SessionManager::touch() {
    const StorageBatch batch;
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    const double now = BSUtil::currentTimeMillis();
    currentVisit(*store, now);
    noteActivity(*store, now);
}

void SessionManager::endVisit() {
    const StorageBatch batch;
    const auto store = service_stores::visits();
    const std::lock_guard lock(mutex_);
    state(*store).isEnded = true;
    storeActivity(*store, *state_);
    storedActivity_ = state_->lastActivity;
}

void SessionManager::setVisitTimeout(double seconds) {
    if (!(seconds > 0)) throw platform::InvalidArgumentException(fmt::format("{} is no time-out of a visit", seconds));
    const std::lock_guard lock(mutex_);
    visitTimeout_ = seconds;
}

}  // namespace harvelstone
