#pragma once

#include <memory>
#include <optional>
#include <string>

#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/NamedMap.hpp"

namespace harvelstone {

/// The persistent preferences, kept in "current_config_file". Any thread may use them.
class BSConfig {
  public:
    static BSConfig& sharedInstance();

    /// The longest a document may wait for its upload, in hours; 72 unless set.
    double getMaxDataLifeTime() const;
    void setMaxDataLifeTime(double hours);

    std::optional<Value> getPrefValue(const std::string& key) const;
    void putPref(const std::string& key, Value value);

    BSConfig();

  private:
    std::shared_ptr<NamedMap> store_;
};

}  // namespace harvelstone
