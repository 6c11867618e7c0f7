// The moments at which the app ends.
#include <atomic>
#include <cstdlib>
#include <thread>
#include <unistd.h>

#include "harvelstone/api/Analytics.hpp"

#include "tests/host/host_app.hpp"

namespace host {
namespace {

using harvelstone::Analytics;

std::atomic<int> documentsMade = 0;
std::atomic<bool> repeatWaits = false;
std::atomic<bool> mayExitInSink = false;
std::atomic<bool> sticksInStartUp = false;
std::atomic<bool> isStuck = false;

void watch(std::string_view line) {
    if (line.starts_with("DEBUG_HARVELSTONE_CONFIG : documentID --> ")) {
        ++documentsMade;
        while (sticksInStartUp) {
            isStuck = true;
            pause();
        }
    }
    if (line.find("failCheck == TRUE") != std::string_view::npos) repeatWaits = true;
    if (mayExitInSink && line.starts_with("DEBUG_HARVELSTONE_JSON[SERVER->SDK]")) {
        announceEnd();
        std::exit(0);
    }
}

void waitUntil(bool (*condition)()) {
    while (!condition()) std::this_thread::yield();
}

/// Threads of the host's that record for as long as the process lives.
void recordForEver() {
    static std::atomic<int> recorded = 0;
    for (int thread = 0; thread < 2; ++thread)
        std::thread([] {
            for (;;) {
                click("record " + std::to_string(++recorded));
                Analytics::page("home");
                Analytics::send();
            }
        }).detach();
    waitUntil([] { return recorded > 20; });
}

/// On a thread of the host's, which does not come out of it.
void stickInStartUp() {
    sticksInStartUp = true;
    std::thread(&Analytics::startVisit).detach();
    waitUntil([] { return isStuck.load(); });
}

}  // namespace

void reach(const std::string& moment, const Orders& orders) {
    harvelstone::AnalyticsOptions options;
    options.debugLog = watch;
    configure(orders, std::move(options));
    if (moment == "start_up") {
        stickInStartUp();
        say("ready");
        return;
    }
    Analytics::installReferrer({});
    Analytics::startVisit();
    click("before the end");
    if (moment == "recording") recordForEver();
    if (moment == "sink") mayExitInSink = true;
    if (moment == "flush") std::thread(&flush).detach();  // sends, and waits for the answer
    if (moment != "recording" && moment != "flush") Analytics::send();
    if (moment == "repeat") waitUntil([] { return repeatWaits.load(); });
    if (moment == "removal") waitUntil([] { return documentsMade == 2; });
    say("ready");
}

}  // namespace host
