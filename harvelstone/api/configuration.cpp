// Applying the host's options: the machine's parts are fixed by the first call, the settings go to the services.
// Runs on the host's thread.

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/HostRunLoop.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StorageBatch.hpp"

namespace harvelstone {

namespace {

/// The device of the platform, with the host's Documents folder in front.
class DeviceWithFolder final : public platform::Device {
  public:
    DeviceWithFolder(std::shared_ptr<platform::Device> device, std::string folder)
        : device_(std::move(device)), folder_(std::move(folder)) {}

    std::vector<std::string> documentsDirectories() const override {
        auto directories = device_->documentsDirectories();
        directories.insert(directories.begin(), folder_);
        return directories;
    }
    std::string bundleIdentifier() const override { return device_->bundleIdentifier(); }
    std::string uuidText() const override { return device_->uuidText(); }
    bool isConnectedToNetwork() const override { return device_->isConnectedToNetwork(); }
    std::string connectionType() const override { return device_->connectionType(); }
    std::string operatingSystem() const override { return device_->operatingSystem(); }
    std::string machine() const override { return device_->machine(); }
    std::string language() const override { return device_->language(); }
    std::string country() const override { return device_->country(); }

  private:
    std::shared_ptr<platform::Device> device_;
    std::string folder_;
};

/// The log of the platform, with the debug lines going to the host's function.
class LogToHost final : public platform::Log {
  public:
    LogToHost(std::shared_ptr<platform::Log> log, std::function<void(std::string_view)> debugLog)
        : log_(std::move(log)), debugLog_(std::move(debugLog)) {}

    void platformLine(std::string_view line) noexcept override { log_->platformLine(line); }
    void debugLine(std::string_view line) noexcept override {
        try {
            debugLog_(line);
        } catch (...) {
            // The host's own failure to take a line must not end what was being logged.
        }
    }

  private:
    std::shared_ptr<platform::Log> log_;
    std::function<void(std::string_view)> debugLog_;
};

/// Whether the options ask for a choice that is not in force. The default asks for nothing.
bool choosesAnew(const AnalyticsOptions& options) {
    using platform::SyncPolicy;
    const auto& inForce = platform::Platform::current();
    const bool isToBePumped = options.mainQueue == MainQueueChoice::pumpedByHost;
    const bool isNotToSync = options.platform.syncPolicy == SyncPolicy::processExit;
    return (isToBePumped && inForce.mainQueue != platform::HostRunLoop::mainQueue()) ||
           (isNotToSync && inForce.syncPolicy != SyncPolicy::processExit);
}

bool setsMachine(const AnalyticsOptions& options) {
    const auto& platform = options.platform;
    return options.documentsFolder || options.certificateAuthorities || options.debugLog || platform.clock ||
           platform.fileSystem || platform.httpClient || platform.mainQueue || platform.workers || platform.device ||
           platform.log;
}

platform::Platform machineFor(const AnalyticsOptions& options) {
    auto machine = options.platform;
    if (options.documentsFolder) {
        auto device = machine.device ? machine.device : std::make_shared<platform::PosixDevice>();
        machine.device = std::make_shared<DeviceWithFolder>(std::move(device), *options.documentsFolder);
    }
    if (options.certificateAuthorities)
        machine.httpClient = std::make_shared<platform::CurlHttpClient>(
            platform::CurlSettings{.limits = {}, .certificateAuthorities = *options.certificateAuthorities});
    if (options.debugLog) {
        auto log = machine.log ? machine.log : std::make_shared<platform::StandardErrorLog>();
        machine.log = std::make_shared<LogToHost>(std::move(log), options.debugLog);
    }
    if (!machine.mainQueue && options.mainQueue == MainQueueChoice::pumpedByHost)
        machine.mainQueue = platform::HostRunLoop::mainQueue();
    return machine;
}

void check(const AnalyticsOptions& options) {
    using platform::InvalidArgumentException;
    if (options.targetUri && !options.targetUri->starts_with("http://") && !options.targetUri->starts_with("https://"))
        throw InvalidArgumentException("targetUri \"" + *options.targetUri + "\" is no http or https address");
    if (options.visitTimeout && options.visitTimeout->count() <= 0)
        throw InvalidArgumentException("visitTimeout must be above zero");
    if (options.documentsFolder && options.documentsFolder->empty())
        throw InvalidArgumentException("documentsFolder is empty");
    if (options.certificateAuthorities && options.certificateAuthorities->empty())
        throw InvalidArgumentException("certificateAuthorities is empty");
    if (options.certificateAuthorities && options.platform.httpClient)
        throw InvalidArgumentException(
            "certificateAuthorities belongs to the default HTTP client, not to the host's own");
}

template <typename T>
void add(Dictionary& settings, std::string_view name, const std::optional<T>& value) {
    if (value) setValue(settings, name, Value(*value));
}

void applySettings(const AnalyticsOptions& options) {
    const StorageBatch batch;
    Dictionary settings;
    add(settings, "targetUri", options.targetUri);
    add(settings, "ak", options.appKey);
    add(settings, "apVr", options.appVersion);
    add(settings, "venId", options.vendorId);
    add(settings, "imei", options.imei);
    add(settings, "returnVisitDate", options.returnVisitDays);
    add(settings, "debug", options.debug);
    SessionManager::sharedInstance().configure(settings);
    if (options.imei) HarvelstoneCore::setFlagUseImei(/*use=*/true);

    Dictionary profile;
    add(profile, "advId", options.advertisingId);
    add(profile, "advIdFlag", options.advertisingIdAllowed);
    add(profile, "userId", options.userId);
    ProfileManager::sharedInstance().setProfile(profile);

    if (options.consent) ProfileManager::sharedInstance().setConsent(*options.consent);
    if (options.visitTimeout)
        SessionManager::sharedInstance().setVisitTimeout(static_cast<double>(options.visitTimeout->count()));
}

/// Fixes the machine's parts, unless they are in use already and the host asks for none.
void installMachine(const AnalyticsOptions& options) {
    try {
        platform::Platform::install(machineFor(options));
    } catch (const platform::InvalidArgumentException&) {
        if (setsMachine(options) || choosesAnew(options)) throw;
    }
}

}  // namespace

void Analytics::configure(const AnalyticsOptions& options) {
    check(options);
    installMachine(options);
    applySettings(options);
}

void Analytics::runMainQueue() { platform::HostRunLoop::mainQueue()->runReady(); }

}  // namespace harvelstone
