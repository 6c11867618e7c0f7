// An app at full speed: recording on one thread, visits and passes on others, completions on workers, removals on the
// main queue's thread, over real files and real HTTP.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <stdlib.h>
#include <thread>
#include <vector>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/HostRunLoop.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageFolder.hpp"
#include "harvelstone/services/TrackType.hpp"

#include "tests/support/DocumentTest.hpp"
#include "tests/support/LoopbackServer.hpp"

namespace harvelstone {
namespace {

using std::chrono::minutes;
using ::testing::AllOf;
using ::testing::Ge;
using ::testing::Lt;

constexpr std::int64_t clicks = 300;
constexpr int visits = 20;
constexpr int passes = 100;

struct Threads : testing::DocumentTest {
    testing::LoopbackServer server;

    Threads() {
        // With a zone in the environment the C library reads no zone file anew at each date: it does so behind a lock
        // of its own, which the thread sanitizer cannot see.
        setenv("TZ", "UTC", /*replace=*/1);
        static_cast<void>(platform::civilTime(0));
        machine.clock->tickPerReading(1e-6);
        auto& platform = platform::Platform::current();
        platform.workers = std::make_shared<platform::WorkerThreads>();
        platform.httpClient = std::make_shared<platform::CurlHttpClient>();
        platform.mainQueue = platform::HostRunLoop::onOwnThread();
        AnalyticsOptions options;
        options.targetUri = server.url();
        Analytics::configure(options);
        Analytics::installReferrer({});
        Analytics::startVisit();
    }

    static void record() {
        for (std::int64_t number = 0; number < clicks; ++number) Analytics::click({{"number", number}});
    }
    void visit() const {
        for (int i = 0; i < visits; ++i) {
            Analytics::endVisit();
            machine.clock->advance(1);
            Analytics::startVisit();
        }
    }
    static void pass() {
        for (int i = 0; i < passes; ++i) Analytics::send();
    }
};

/// Which documents brought each click, by the times at which they were made.
std::map<std::int64_t, std::set<double>> uploadedClicks(const std::vector<testing::WireRequest>& requests) {
    std::map<std::int64_t, std::set<double>> found;
    for (const auto& request : requests) {
        testing::SentRequest sent;
        sent.body = request.body;
        const auto upload = sent.document();
        const auto session = *findValue(*upload.dictionary(), TrackType::TYPE_SESSION().toString());
        const auto created = doubleValue(findValue(*session.dictionary(), StaticValues::CREATE_TIME()));
        const auto section = *findValue(*upload.dictionary(), TrackType::TYPE_CLICK().typeValue());
        for (const auto& click : *section.list())
            found[integerValue(findValue(*click.dictionary(), "number"))].insert(created);
    }
    return found;
}

/// Those that came too late for their document; no removal takes a click queue.
std::multiset<std::int64_t> queuedClicks(const testing::Machine& machine) {
    std::multiset<std::int64_t> found;
    const auto& prefix = StaticValues::CLICK_FILE_PREFIX();
    for (const auto& file : machine.storedFiles()) {
        if (!file.starts_with(prefix)) continue;
        QueueFile queue(file.substr(0, file.size() - FILE_SUFFIX.size()));
        while (const auto click = queue.pop()) found.insert(integerValue(findValue(*click, "number")));
    }
    return found;
}

TEST_F(Threads, RecordVisitPassCompleteAndRemoveAtOnce) {
    std::thread recording([] { record(); });
    std::thread visiting([this] { visit(); });
    std::thread passing([] { pass(); });
    recording.join();
    visiting.join();
    passing.join();
    const auto receipt = Analytics::flush(minutes(1));
    const bool removalsEnded = OutstandingWork::waitUntilNone(OutstandingWork::Kind::removal, minutes(1));

    EXPECT_TRUE(receipt.complete);
    EXPECT_TRUE(removalsEnded);
    const auto ledger = Analytics::ledger();
    const auto& documents = ledger.documents;
    EXPECT_GT(documents.created, static_cast<std::uint64_t>(visits));
    EXPECT_GT(documents.sent, 0U);
    EXPECT_EQ(documents.pending, receipt.documentsStillStored);
    EXPECT_TRUE(ledger.balances());
    EXPECT_EQ(ledger.records.at("click").recorded, static_cast<std::uint64_t>(clicks));

    const auto uploaded = uploadedClicks(server.requests());
    const auto queued = queuedClicks(machine);
    EXPECT_FALSE(uploaded.empty());
    for (const auto& [number, documentsOfClick] : uploaded) {
        EXPECT_THAT(number, AllOf(Ge(0), Lt(clicks)));
        EXPECT_EQ(documentsOfClick.size() + queued.count(number), 1U) << "click " << number;
    }
    for (const auto number : queued) EXPECT_EQ(queued.count(number), 1U) << "click " << number;
}

}  // namespace
}  // namespace harvelstone
