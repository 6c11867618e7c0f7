// How long each public call holds its caller up while documents are uploaded on a worker.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/document/OutstandingWork.hpp"

#include "bench/SendingApp.hpp"
#include "bench/Side.hpp"
#include "bench/rows.hpp"
#include "bench/sample_document.hpp"
#include "bench/waiting_documents.hpp"
#include "tests/support/LoopbackServer.hpp"

namespace harvelstone::bench {

namespace {

struct Call {
    std::string name;
    std::function<void()> make;
};

const std::vector<Call>& calls() {
    static const auto record = sampleRecord(1);
    static const std::vector<Call> all{
        {"startVisit", [] { Analytics::startVisit(); }},
        {"startVisit_new", [] { Analytics::startVisit(); }},
        {"refreshDocument", [] { Analytics::refreshDocument(); }},
        {"page", [] { Analytics::page("home", record); }},
        {"pageProgress", [] { Analytics::pageProgress(1.5, 1); }},
        {"click", [] { Analytics::click(record); }},
        {"revenue", [] { Analytics::revenue(record); }},
        {"pushOpened", [] { Analytics::pushOpened(record); }},
        {"setProduct", [] { Analytics::setProduct("p1", "boots"); }},
        {"goal", [] { Analytics::goal(1, 100); }},
        {"event", [] { Analytics::event("button", "basket", 1); }},
        {"campaign", [] { Analytics::campaign("mail", "winter", 1, "https://example.com"); }},
        {"send", [] { Analytics::send(); }},
        {"ledger", [] { Analytics::ledger(); }},
    };
    return all;
}

bool isUploading() { return OutstandingWork::count(OutstandingWork::Kind::upload) > 0; }

/// The durations of as many calls as fit into the upload of a list, shortest first.
std::vector<Seconds> durationsOf(const Call& call) {
    constexpr std::size_t most = 300;
    constexpr std::size_t least = 20;
    std::vector<Seconds> durations;
    while (durations.size() < most && isUploading()) {
        if (call.name == "startVisit_new") Analytics::endVisit();
        durations.push_back(timed(1, call.make).time);
    }
    if (durations.size() < least) throw std::runtime_error("the uploads ended too early");
    std::sort(durations.begin(), durations.end());
    return durations;
}

Outcome measure(const std::string& folder, const Call& call) {
    const testing::LoopbackServer server;
    SendingApp app(folder);
    AnalyticsOptions target;
    target.targetUri = server.url();
    Analytics::configure(target);
    Analytics::setProduct("p1", "boots");
    Analytics::setProductCategory("c1", "shoes");
    constexpr std::size_t documents = 1'000;
    haveWaitingDocuments(app, documents);
    app.pass(platform::SyncPolicy::powerLoss);

    const auto durations = durationsOf(call);
    const auto microseconds = [&](std::size_t percent) {
        return durations[(durations.size() - 1) * percent / 100].count() * 1e6;
    };
    Outcome outcome;
    outcome.time = durations[durations.size() / 2];
    outcome.figures = {{"p50", microseconds(50)}, {"p99", microseconds(99)}, {"max", microseconds(100)}};
    return outcome;
}

}  // namespace

void addStallRow() {
    for (const auto& call : calls())
        addLongSide("stall/" + call.name + "/harvelstone",
                    [&call](const auto& folder, auto) { return measure(folder, call); });
}

}  // namespace harvelstone::bench
