// What the host's page tracking shares with the component, in memory only. Any thread.

#include "harvelstone/services/Tracker.hpp"

#include <utility>

#include "harvelstone/platform/PerProcess.hpp"

namespace harvelstone {

void PageMap::putGoalMapData(Dictionary goals) {
    const std::lock_guard lock(mutex_);
    goals_ = std::move(goals);
}

Dictionary PageMap::goalMapData() const {
    const std::lock_guard lock(mutex_);
    return goals_;
}

void PageMap::clearGoalMapData() {
    const std::lock_guard lock(mutex_);
    goals_.clear();
}

Tracker& Tracker::sharedInstance() {
    static constinit platform::PerProcess<Tracker> instance;
    return *instance;
}

std::optional<Dictionary> Tracker::customPushMapData() const {
    const std::lock_guard lock(mutex_);
    return customPushMapData_;
}

void Tracker::setCustomPushMapData(std::optional<Dictionary> data) {
    const std::lock_guard lock(mutex_);
    customPushMapData_ = std::move(data);
}

std::shared_ptr<PageMap> Tracker::getCurrentPageMap() const { return currentPageMap_; }

}  // namespace harvelstone
