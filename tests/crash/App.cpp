// The scripted host app: its verbs, and the notes of what happens.

#include "tests/crash/App.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/Fate.hpp"
#include "harvelstone/services/StaticValues.hpp"

#include "tests/support/DocumentTest.hpp"
#include "tests/support/numbered_records.hpp"

namespace harvelstone::testing {

namespace {

using What = Happening::What;

constexpr double secondsOfACall = 0.125;

}  // namespace

bool goesIntoDocuments(const std::string& queue) {
    return queue != StaticValues::EVENT_FILE_PREFIX() && queue != StaticValues::CAMPAIGN_FILE_PREFIX();
}

App::App(const Situation& situation)
    : disk_(std::make_shared<MemoryFileSystem>(machine_.clock, situation.disk)), nextNumber_(situation.nextNumber) {
    machine_.clock->set(situation.time);
    machine_.device->uuids = situation.firstUuid;
    machine_.setFileSystem(disk_);
    TestPlatform::setSyncPolicy(situation.policy);
    disk_->onCall = [this](const DiskCall& call) {
        note({.what = What::call, .text = call.text()});
        return onCall ? onCall(call) : std::nullopt;
    };
    disk_->onStep = [this](const DiskStep& step) { history_.push_back({.what = What::step, .step = step}); };
    setFateObserver([this](const std::string& document, Fate fate) {
        note({.what = What::retired, .text = std::string(fateName(fate)), .document = document});
    });
}

void App::note(Happening happening) {
    happening.time = machine_.clock->now();
    history_.push_back(std::move(happening));
}

/// What the operation that has just returned did with documents.
void App::noteDocuments() {
    auto& requests = machine_.http->requests;
    for (; notedUploads_ < requests.size(); ++notedUploads_)
        note({.what = What::uploaded, .content = *requests[notedUploads_].document().dictionary()});
    for (const auto& id : pendingIds())
        if (knownIds_.insert(id).second) note({.what = What::created, .document = id});
}

void App::call(const std::function<void()>& operation) {
    passTime(secondsOfACall);
    operation();
    noteDocuments();
}

void App::start() {
    call([] {
        AnalyticsOptions options;
        options.targetUri = "http://collector.test/documents";
        options.appKey = "shop";
        options.appVersion = "3.1";
        Analytics::configure(options);
        DocumentManager::sharedInstance();
    });
    call([] { Analytics::setProduct("P-1", "shoes"); });
    call([] { Analytics::setProductCategory("C-1", "sport"); });
}

void App::startVisit() { call(&Analytics::startVisit); }

void App::endVisit() { call(&Analytics::endVisit); }

void App::record(const std::string& queue) {
    const auto number = nextNumber_++;
    note({.what = What::recording, .number = number, .queue = queue});
    call([&] { addNumberedRecord(queue, number); });
    note({.what = What::recorded, .number = number, .queue = queue, .document = pendingIds().back()});
}

void App::recordProgress() {
    const auto number = nextNumber_++;
    const auto& queue = StaticValues::PAGES_FILE_PREFIX();
    note({.what = What::recording, .number = number, .queue = queue});
    call([] { Analytics::page("progress follows"); });  // begins a run of its own
    call([&] { Analytics::pageProgress(number, /*pageViews=*/1); });
    note({.what = What::recorded, .number = number, .queue = queue, .document = pendingIds().back()});
}

void App::recordOneOfEach() {
    for (const auto& queue : queuePrefixes()) record(queue);
    recordProgress();
}

void App::send() { call(&Analytics::send); }

bool App::isUploading() const {
    const auto& requests = machine_.http->requests;
    return !requests.empty() && requests.back().completion;
}

void App::reply(std::optional<std::string> body) {
    if (!isUploading()) return;
    call([&] { machine_.http->answer(std::move(body)); });
}

void App::repeat() {
    if (machine_.workers->queues.empty()) return;
    call([queue = machine_.workers->queues.back()] { queue->advance(1); });
}

void App::sendAll() {
    send();
    while (isUploading()) reply("{}");
}

void App::passTime(double seconds) { machine_.clock->advance(seconds); }

void App::runMainQueue() {
    call([&] { machine_.mainQueue->advance(1); });
}

}  // namespace harvelstone::testing
