// The configuration side of the session manager: getConfig, configure, and the debug log's switch. Reads and writes the
// key "configuration" of "current_config_file", whose other keys are the preferences'. Any thread.

#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/configuration_settings.hpp"
#include "harvelstone/services/service_stores.hpp"

namespace harvelstone {

namespace {

constexpr std::string_view configurationKey = "configuration";

}  // namespace

void SessionManager::prepareOnce() {
    if (isStarted_.exchange(true)) return;
    service_stores::configuration()->setLateMerge([](Dictionary& put, const Dictionary& stored) {
        joinSettings(put, stored, configurationKey);
        joinSettings(put, stored, "preferences");
    });
    // Only ever on: the host may have switched the log on before, for this process.
    if (Configuration(service_stores::configuration()->getMutableDictionary(configurationKey)).getDebug())
        BSDebugger::setEnabled(true);
}

std::shared_ptr<const Configuration> SessionManager::getConfig() {
    const StorageBatch batch;
    const std::lock_guard lock(mutex_);
    if (!config_) {
        const auto store = service_stores::configuration();
        auto stored = store->getMutableDictionary(configurationKey);
        if (addInstallSettings(stored)) store->putDictionary(configurationKey, stored);
        config_ = std::make_shared<const Configuration>(pictureOf(stored));
    }
    return config_;
}

void SessionManager::configure(const Dictionary& settings) {
    checkSettings(configurationSettings, settings);
    if (settings.empty()) return;
    const StorageBatch batch;
    {
        const auto store = service_stores::configuration();
        const std::lock_guard lock(mutex_);
        auto stored = store->getMutableDictionary(configurationKey);
        for (const auto& [name, value] : settings) stored.insert_or_assign(name, value);
        store->putDictionary(configurationKey, std::move(stored));
        config_.reset();
    }
    if (settings.contains("debug")) BSDebugger::setEnabled(integerValue(findValue(settings, "debug")) != 0);
}

}  // namespace harvelstone
