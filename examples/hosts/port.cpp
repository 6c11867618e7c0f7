// A host on a device that the defaults do not know: it tells what the device is, and trusts its own clock.
// usage: port [TARGET]
#include <chrono>
#include <iostream>
#include <memory>

#include "harvelstone/api/Analytics.hpp"

namespace {

using namespace harvelstone::platform;

/// What this device tells otherwise; what a POSIX system tells well enough is left to it.
class Kiosk final : public Device {
  public:
    std::vector<std::string> documentsDirectories() const override { return {"shop-data"}; }
    std::string bundleIdentifier() const override { return "com.example.kiosk"; }
    std::string uuidText() const override { return system_.uuidText(); }
    bool isConnectedToNetwork() const override { return true; }
    std::string connectionType() const override { return "ethernet"; }
    std::string operatingSystem() const override { return "KioskOS 4"; }
    std::string machine() const override { return "kiosk-12"; }
    std::string language() const override { return "en"; }
    std::string country() const override { return "GB"; }

  private:
    PosixDevice system_;
};

/// The clock of a device that has none of its own that the user may set: it never jumps.
class SteadyClock final : public Clock {
  public:
    double now() const override {
        const std::chrono::duration<double> sinceStart = std::chrono::steady_clock::now() - start_;
        return startTime_ + sinceStart.count();
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    double startTime_ = SystemClock().now();
};

}  // namespace

int main(int argc, char** argv) {
    using harvelstone::Analytics;
    harvelstone::AnalyticsOptions options;
    options.targetUri = argc > 1 ? argv[1] : "http://127.0.0.1:8080/documents";
    options.appKey = "shop";
    options.platform.device = std::make_shared<Kiosk>();
    options.platform.clock = std::make_shared<SteadyClock>();
    options.platform.syncPolicy = SyncPolicy::processExit;  // its power never fails
    Analytics::configure(options);

    Analytics::startVisit();
    Analytics::installReferrer({});
    Analytics::page("home", {{"section", "women"}});
    Analytics::click({{"button", "buy"}});
    std::cout << Analytics::flush(std::chrono::seconds(10)).documentsSent << " sent\n";
}
