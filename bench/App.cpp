// The app that the library is measured in.

#include "bench/App.hpp"

#include <memory>
#include <string_view>
#include <utility>

#include "harvelstone/api/Analytics.hpp"

namespace harvelstone::bench {

namespace {

/// Where the lines go is the app's affair.
class NoLog final : public platform::Log {
  public:
    void platformLine(std::string_view) noexcept override {}
    void debugLine(std::string_view) noexcept override {}
};

}  // namespace

void configureApp(const std::string& documentsFolder, platform::SyncPolicy policy, platform::Platform platform) {
    AnalyticsOptions options;
    options.targetUri = "http://127.0.0.1:9/";
    options.appKey = "shop";
    options.appVersion = "4.12.0";
    options.debug = false;
    options.documentsFolder = documentsFolder;
    options.mainQueue = MainQueueChoice::pumpedByHost;
    options.platform = std::move(platform);
    options.platform.syncPolicy = policy;
    if (!options.platform.log) options.platform.log = std::make_shared<NoLog>();
    Analytics::configure(options);
}

DocumentManager& startApp(const std::string& documentsFolder, platform::SyncPolicy policy,
                          platform::Platform platform) {
    configureApp(documentsFolder, policy, std::move(platform));
    return DocumentManager::sharedInstance();
}

}  // namespace harvelstone::bench
