// A host without a loop: the library's main queue runs on a thread of its own. usage: own_thread [TARGET]
#include <chrono>
#include <iostream>

#include "harvelstone/api/Analytics.hpp"

int main(int argc, char** argv) {
    using harvelstone::Analytics;
    harvelstone::AnalyticsOptions options;
    options.targetUri = argc > 1 ? argv[1] : "http://127.0.0.1:8080/documents";
    options.appKey = "shop";
    options.documentsFolder = "shop-data";
    Analytics::configure(options);
    Analytics::startVisit();
    Analytics::installReferrer({});  // there is none to wait for
    Analytics::page("home", {{"section", "women"}});
    Analytics::click({{"button", "buy"}});
    const auto receipt = Analytics::flush(std::chrono::seconds(10));
    std::cout << receipt.documentsSent << " sent, " << receipt.documentsStillStored << " waiting\n";
}
