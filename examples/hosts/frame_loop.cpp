// A host with a frame loop, such as a game: it pumps the library's main queue once a frame. usage: frame_loop [TARGET]
#include <chrono>
#include <csignal>
#include <iostream>
#include <thread>

#include "harvelstone/api/Analytics.hpp"

namespace {

volatile std::sig_atomic_t isRunning = 1;

void drawFrame() { std::this_thread::sleep_for(std::chrono::milliseconds(16)); }

}  // namespace

int main(int argc, char** argv) {
    using harvelstone::Analytics;
    std::signal(SIGTERM, [](int) { isRunning = 0; });

    harvelstone::AnalyticsOptions options;
    options.targetUri = argc > 1 ? argv[1] : "http://127.0.0.1:8080/documents";
    options.appKey = "shop";
    options.documentsFolder = "shop-data";
    options.mainQueue = harvelstone::MainQueueChoice::pumpedByHost;
    Analytics::configure(options);

    Analytics::startVisit();
    Analytics::installReferrer({});
    Analytics::page("home", {{"section", "women"}});
    Analytics::click({{"button", "buy"}});
    Analytics::send();  // returns at once; the upload runs on a thread of the library's

    while (isRunning) {
        Analytics::runMainQueue();  // what is due by now: it does not wait
        drawFrame();
    }
    std::cout << Analytics::ledger().documents.sent << " sent\n";
}
