// usage: host_app URL FOLDER end MOMENT WAY | "last minute" DEED | fork STORY | quiet | quiet with patient workers
#include "tests/host/host_app.hpp"

#include <chrono>
#include <memory>
#include <utility>

#include "harvelstone/platform/WorkerThreads.hpp"

#include "tests/host/last_minute.hpp"

namespace host {

void configure(const Orders& orders, harvelstone::AnalyticsOptions options) {
    options.targetUri = orders.url;
    options.documentsFolder = orders.documents;
    if (orders.url.starts_with("https:")) options.certificateAuthorities = orders.documents + "/authorities.pem";
    options.debug = options.debugLog != nullptr;
    harvelstone::Analytics::configure(options);
}

void click(const std::string& name) { harvelstone::Analytics::click({{"button", name}}); }

bool flush() { return harvelstone::Analytics::flush(std::chrono::seconds(30)).complete; }

namespace {

/// Does its work, then waits without any, so that the test can look at its threads. Patient workers wait for the next
/// upload for as long as any test does.
void beQuiet(const Orders& orders, bool areWorkersPatient) {
    say("begun");
    waitForTest();
    harvelstone::AnalyticsOptions options;
    if (areWorkersPatient)
        options.platform.workers =
            std::make_shared<harvelstone::platform::WorkerThreads>(harvelstone::platform::Seconds(3600));
    configure(orders, std::move(options));
    harvelstone::Analytics::installReferrer({});
    click("quiet");
    say(flush() ? "sent" : "not sent");
    waitForTest();
}

int run(const Orders& orders) {
    const auto& what = orders.at(0);
    if (what.starts_with("quiet")) {
        beQuiet(orders, /*areWorkersPatient=*/what != "quiet");
        return 0;
    }
    if (what == "fork") return playFork(orders.at(1), orders);
    if (what == "last minute") {
        prepareLastMinute(orders.at(1), orders);
        announceEnd();
        return 0;
    }
    reach(orders.at(1), orders);
    waitForTest();
    end(orders.at(2));
    return 0;
}

}  // namespace

}  // namespace host

int main(int count, char** arguments) {
    if (count < 4) return 2;
    return host::run({.url = arguments[1], .documents = arguments[2], .rest = {arguments + 3, arguments + count}});
}
