#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// The persistent preferences, kept in "current_config_file". Any thread may use them.
class BSConfig {
  public:
    static BSConfig& sharedInstance();

    /// The longest a document may wait for its upload, in hours; 72 unless set.
    double getMaxDataLifeTime() const;
    /// Kept across restarts. NaN, an infinity or a time below zero raises platform::InvalidArgumentException.
    void setMaxDataLifeTime(double hours);

    std::optional<Value> getPrefValue(const std::string& key) const;
    /// Null raises platform::InvalidArgumentException.
    void putPref(const std::string& key, Value value);

    BSConfig() = default;

  private:
    std::mutex mutex_;  // around what reads the preferences and then writes them
};

}  // namespace harvelstone
