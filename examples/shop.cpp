// A host in C++. usage: shop ADDRESS
#include <chrono>
#include <harvelstone/api/Analytics.hpp>
#include <harvelstone/api/harvelstone.h>
#include <harvelstone/services/StaticValues.hpp>
#include <iostream>
#include <memory>

using harvelstone::Analytics;
using harvelstone::StaticValues;

int main(int count, char** arguments) {
    if (count != 2) return 2;
    harvelstone::AnalyticsOptions options;
    options.targetUri = arguments[1];
    options.appKey = "shop";
    options.documentsFolder = "shop-data";
    options.platform.log = std::make_shared<harvelstone::platform::StandardErrorLog>();
    try {
        Analytics::configure(options);
        Analytics::startVisit();
        Analytics::installReferrer({});
        Analytics::page("home", {{"section", "women"}});
        Analytics::click({{StaticValues::PARAM_NAME(), "buy"}});
        const auto receipt = Analytics::flush(std::chrono::seconds(10));
        std::cout << harvelstone_version() << ": " << receipt.documentsSent << " sent" << std::endl;
        Analytics::page("");
    } catch (const harvelstone::platform::InvalidArgumentException& refusal) {
        std::cerr << "refused: " << refusal.reason() << std::endl;
        return 0;
    }
    return 1;
}
