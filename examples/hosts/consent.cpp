// A host that asks the user first, and forgets everything when the user wants it. usage: consent [TARGET]
#include <chrono>
#include <filesystem>
#include <iostream>

#include "harvelstone/api/Analytics.hpp"

namespace {

using harvelstone::Analytics;

/// Before `Analytics` is used in this process.
void forgetEverything(const std::filesystem::path& documentsFolder) {
    std::filesystem::remove_all(documentsFolder / "harvelstone");
}

std::uint64_t sent() { return Analytics::flush(std::chrono::seconds(10)).documentsSent; }

}  // namespace

int main(int argc, char** argv) {
    forgetEverything("shop-data");

    harvelstone::AnalyticsOptions options;
    options.targetUri = argc > 1 ? argv[1] : "http://127.0.0.1:8080/documents";
    options.appKey = "shop";
    options.documentsFolder = "shop-data";
    options.consent = false;  // until the user has agreed
    Analytics::configure(options);
    Analytics::startVisit();
    Analytics::installReferrer({});
    Analytics::page("home", {{"section", "women"}});
    std::cout << sent() << " sent before the user agreed, ";

    Analytics::setConsent(true);
    Analytics::click({{"button", "buy"}});
    std::cout << sent() << " after it, ";

    Analytics::setConsent(false);
    Analytics::page("home again");
    std::cout << sent() << " when it was withdrawn\n";
}
