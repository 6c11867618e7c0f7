// The persistent preferences: reads and writes the keys "preferences" and "max_data_life_hours" of
// "current_config_file", whose other keys are the configuration's. Any thread.

#include "harvelstone/services/BSConfig.hpp"

#include <cmath>
#include <fmt/format.h>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/service_stores.hpp"

namespace harvelstone {

namespace {

constexpr std::string_view preferencesKey = "preferences";
constexpr std::string_view maxDataLifeKey = "max_data_life_hours";

/// Three days: a weekend without a network is no reason to lose a visit.
constexpr double usualDataLife = 72;

}  // namespace

BSConfig& BSConfig::sharedInstance() {
    static constinit platform::PerProcess<BSConfig> instance;
    return *instance;
}

double BSConfig::getMaxDataLifeTime() const {
    const auto stored = service_stores::configuration()->get(maxDataLifeKey);
    return stored && stored->isNumber() ? stored->doubleValue() : usualDataLife;
}

void BSConfig::setMaxDataLifeTime(double hours) {
    if (!std::isfinite(hours) || hours < 0)
        throw platform::InvalidArgumentException(fmt::format("{} hours is no life time of data", hours));
    service_stores::configuration()->putDouble(maxDataLifeKey, hours);
}

std::optional<Value> BSConfig::getPrefValue(const std::string& key) const {
    return findValue(service_stores::configuration()->getMutableDictionary(preferencesKey), key);
}

void BSConfig::putPref(const std::string& key, Value value) {
    const StorageBatch batch;  // around the lock: its end writes, and may log
    const auto store = service_stores::configuration();
    const std::lock_guard lock(mutex_);
    auto preferences = store->getMutableDictionary(preferencesKey);
    setValue(preferences, key, std::move(value));
    store->putDictionary(preferencesKey, std::move(preferences));
}

}  // namespace harvelstone
