#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// The goal data that the page now on show has gathered. Any thread may use it.
class PageMap {
  public:
    void putGoalMapData(Dictionary goals);
    Dictionary goalMapData() const;
    void clearGoalMapData();

  private:
    mutable std::mutex mutex_;
    Dictionary goals_;
};

/// What the host's page tracking shares with the component; in memory only. Any thread may use it.
class Tracker {
  public:
    static Tracker& sharedInstance();

    /// Push data of the host's own, for the push section of the next document sent.
    std::optional<Dictionary> customPushMapData() const;
    void setCustomPushMapData(std::optional<Dictionary> data);

    std::shared_ptr<PageMap> getCurrentPageMap() const;

    /// Whether the server said that the service has used up its traffic.
    std::atomic<bool> FLAG_OF_TrafficLimitExceeded{false};

    Tracker() = default;

  private:
    mutable std::mutex mutex_;
    std::optional<Dictionary> customPushMapData_;
    std::shared_ptr<PageMap> currentPageMap_ = std::make_shared<PageMap>();
};

}  // namespace harvelstone
