// What the app has the library do while it exits, from handlers and destructors of its own.
#include "tests/host/last_minute.hpp"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <map>
#include <thread>

#include "harvelstone/api/harvelstone.h"

namespace host {
namespace {

using harvelstone::Analytics;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr const char* record = R"({"button":"at the end"})";

std::atomic<harvelstone_exchange> unanswered = 0;
std::atomic<int> answered = 0;
std::atomic<bool> recordsInDestructor = false;

void require(harvelstone_status status) {
    if (status != HARVELSTONE_OK) _Exit(8);
}

void answer() { require(harvelstone_http_answer(unanswered, 200, "{}", 2)); }

/// With an HTTP client of the host's own, which keeps the request that came last.
void configureWithClient(const Orders& orders) {
    harvelstone_options options{};
    options.size = sizeof options;
    options.target_uri = orders.url.c_str();
    options.documents_folder = orders.documents.c_str();
    options.send_request = [](const harvelstone_http_request*, harvelstone_exchange exchange, void*) {
        unanswered = exchange;
    };
    require(harvelstone_configure(&options));
    require(harvelstone_install_referrer(nullptr));
}

/// So many that the exit looks again and again for what was registered meanwhile: a library that is set up at this
/// very time is taken down before it is ready.
void addManyHandlers() {
    constexpr int manyHandlers = 20'000;
    for (int number = 0; number < manyHandlers; ++number)
        std::atexit([] {
            const auto end = steady_clock::now() + nanoseconds(500);
            while (steady_clock::now() < end) continue;
        });
}

void firstAnswer(const Orders& orders) {
    configureWithClient(orders);
    require(harvelstone_send());
    addManyHandlers();
    std::atexit(answer);
}

/// From a thread that goes on while the process ends.
void answers(const Orders& orders) {
    configureWithClient(orders);
    std::thread([] {
        for (;;) {
            require(harvelstone_send_click_immediately(record));
            answer();
            ++answered;
        }
    }).detach();
    while (answered < 3) std::this_thread::yield();
}

void firstUpload(const Orders& orders) {
    configure(orders);
    Analytics::installReferrer({});
    addManyHandlers();
    std::atexit(Analytics::send);
}

void recordLast(const Orders& orders) {
    configure(orders);
    Analytics::installReferrer({});
    Analytics::send();
    recordsInDestructor = true;
}

/// Runs after all handlers, those of the libraries among them.
[[gnu::destructor]] void recordInDestructor() {
    if (!recordsInDestructor) return;
    require(harvelstone_click(record));
    require(harvelstone_send());
}

const std::map<std::string, void (*)(const Orders&)> deeds{
    {"first_answer", firstAnswer},
    {"answers", answers},
    {"first_upload", firstUpload},
    {"record", recordLast},
};

}  // namespace

void prepareLastMinute(const std::string& deed, const Orders& orders) { deeds.at(deed)(orders); }

}  // namespace host
