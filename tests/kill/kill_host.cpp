// An app that records and sends until it is killed. One line on standard output for each record whose call has
// returned: its number, the prefix of its queue, its document, and "due" when that document's first upload was still to
// be made, so that the record has to be in it, else "late".
//
//     kill_host FOLDER URL SEED FIRST_NUMBER      records and sends for ever
//     kill_host FOLDER URL --drain                sends all that waits, then ends with 0

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <unistd.h>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TinyMap.hpp"

namespace {

using namespace harvelstone;

using Recorder = std::function<void(std::int64_t)>;

const std::map<std::string, Recorder>& recorders() {
    const auto numbered = [](std::int64_t number) { return Dictionary{{"number", number}}; };
    static const std::map<std::string, Recorder> all{
        {StaticValues::PAGES_FILE_PREFIX(),
         [](std::int64_t n) {
             Analytics::page("home", {{"number", n}});
         }},
        {StaticValues::CLICK_FILE_PREFIX(), [numbered](std::int64_t n) { Analytics::click(numbered(n)); }},
        {StaticValues::REVENUE_FILE_PREFIX(), [numbered](std::int64_t n) { Analytics::revenue(numbered(n)); }},
        {StaticValues::PUSH_FILE_PREFIX(), [numbered](std::int64_t n) { Analytics::pushOpened(numbered(n)); }},
        {StaticValues::GOAL_FILE_PREFIX(), [](std::int64_t n) { Analytics::goal(n, n); }},
        {StaticValues::EVENT_FILE_PREFIX(), [](std::int64_t n) { Analytics::event("type", "name", n); }},
        {StaticValues::CAMPAIGN_FILE_PREFIX(), [](std::int64_t n) { Analytics::campaign("type", "name", n, "from"); }}};
    return all;
}

void start(const std::string& folder, const std::string& url) {
    AnalyticsOptions options;
    options.targetUri = url;
    options.appKey = "shop";
    options.appVersion = "3.1";
    options.documentsFolder = folder;
    Analytics::configure(options);
    Analytics::startVisit();
    Analytics::installReferrer({});
    Analytics::setProduct("P", "Product");
    Analytics::setProductCategory("C", "Category");
}

void say(const std::string& line) {
    if (write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size())) std::abort();
}

bool isSending() { return OutstandingWork::count(OutstandingWork::Kind::upload) > 0; }

std::string newest() {
    try {
        return DocumentManager::sharedInstance().getLaistDocId();
    } catch (const platform::RangeException&) {
        return "";  // the last document has just been retired, the next is being made
    }
}

/// Whether a pass that an answer has begun may be filling the newest document just now: it may have emptied a queue
/// before the record got there. A pass fills the oldest document.
bool mayBeBeingFilled() { return isSending() && documetNameList->load()->size() == 1; }

void record(const std::string& queue, const Recorder& recorder, std::int64_t number) {
    const auto before = newest();
    recorder(number);
    const bool isFilledLater = !mayBeBeingFilled();
    const auto document = newest();
    const bool isDue = isFilledLater && !document.empty() && document == before &&
                       !TinyMap::sharedInstance().get(document)->has(StaticValues::RETRY_COUNT());
    say(fmt::format("{} {} {} {}\n", number, queue, document.empty() ? "-" : document, isDue ? "due" : "late"));
}

[[noreturn]] void recordAndSend(std::uint64_t seed, std::int64_t number) {
    std::mt19937_64 random(seed);
    const auto isOneIn = [&](std::uint64_t count) { return random() % count == 0; };
    for (;; ++number) {
        const auto recorder =
            std::next(recorders().begin(), static_cast<std::ptrdiff_t>(random() % recorders().size()));
        record(recorder->first, recorder->second, number);
        if (isOneIn(6)) Analytics::endVisit();
        if (isOneIn(5)) Analytics::startVisit();
        // A second upload of the same document would, by its answer, retire the next one unsent.
        if (isOneIn(5) && !isSending()) Analytics::send();
    }
}

int drain() {
    constexpr int mostRoundsInVain = 50;
    constexpr std::chrono::minutes longEnough{5};  // while uploads are under way another round would send them twice
    std::uint64_t fewest = std::numeric_limits<std::uint64_t>::max();
    for (int inVain = 0; inVain < mostRoundsInVain; ++inVain) {
        const auto receipt = Analytics::flush(longEnough);
        if (!receipt.complete) return EXIT_FAILURE;
        if (receipt.documentsStillStored == 1 && fewest == 1) return EXIT_SUCCESS;
        if (receipt.documentsStillStored >= fewest) continue;
        fewest = receipt.documentsStillStored;
        inVain = 0;
    }
    return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    start(argv[1], argv[2]);
    if (std::string(argv[3]) == "--drain") return drain();
    recordAndSend(std::strtoull(argv[3], nullptr, 10), argc > 4 ? std::atoll(argv[4]) : 1);
}
