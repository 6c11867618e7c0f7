// usage: host_app URL FOLDER end MOMENT WAY | fork STORY | quiet | exec
#include "tests/host/host_app.hpp"

#include <chrono>
#include <iostream>

#include "harvelstone/api/Analytics.hpp"

namespace host {

void configure(const Orders& orders, void (*sink)(std::string_view line)) {
    harvelstone::AnalyticsOptions options;
    options.targetUri = orders.url;
    options.documentsFolder = orders.documents;
    if (sink) {
        options.debugLog = sink;
        options.debug = true;
    }
    harvelstone::Analytics::configure(options);
}

void click(const std::string& name) { harvelstone::Analytics::click({{"button", name}}); }

bool flush() { return harvelstone::Analytics::flush(std::chrono::seconds(30)).complete; }

namespace {

/// Does its work, then waits without any, so that the test can look at its threads.
void beQuiet(const Orders& orders) {
    say("begun");
    waitForTest();
    configure(orders);
    harvelstone::Analytics::installReferrer({});
    click("quiet");
    say(flush() ? "sent" : "not sent");
    waitForTest();
}

int run(const Orders& orders) {
    const auto& what = orders.at(0);
    if (what == "quiet") {
        beQuiet(orders);
        return 0;
    }
    if (what == "fork") return playFork(orders.at(1), orders);
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
