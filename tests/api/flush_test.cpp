#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"
#include "harvelstone/services/BSConfig.hpp"

#include "tests/support/DocumentTest.hpp"
#include "tests/support/FaultyFileSystem.hpp"

namespace harvelstone {
namespace {

using std::chrono::milliseconds;
using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Pair;

using Answer = std::optional<std::string>;

/// Answers each request on its own queue, in the order of a script; without a script no answer ever comes.
class AnsweringHttpClient final : public platform::HttpClient {
  public:
    explicit AnsweringHttpClient(std::deque<Answer> answers) : answers_(std::move(answers)) {}

    void sendAsynchronousRequest(platform::HttpRequest /*request*/, std::shared_ptr<platform::RunLoop> queue,
                                 platform::HttpCompletion completionHandler) override {
        const std::lock_guard lock(mutex_);
        if (answers_.empty()) {
            unanswered_.push_back(std::move(completionHandler));
            return;
        }
        queue->post([answer = answers_.front(), completion = std::move(completionHandler)] {
            completion({}, answer, answer ? std::nullopt : std::optional(platform::HttpError{"no answer"}));
        });
        answers_.pop_front();
    }

  private:
    std::mutex mutex_;
    std::deque<Answer> answers_;
    std::vector<platform::HttpCompletion> unanswered_;
};

/// The uploads run on real worker threads.
struct Flush : testing::DocumentTest {
    Flush() {
        machine.clock->tickPerReading(1e-6);  // so that no two documents are made at one time
        platform::Platform::current().workers = std::make_shared<platform::WorkerThreads>();
        Analytics::installReferrer({});
    }

    static void serverAnswers(std::deque<Answer> answers) {
        platform::Platform::current().httpClient = std::make_shared<AnsweringHttpClient>(std::move(answers));
    }

    static FlushReceipt flush() { return Analytics::flush(std::chrono::minutes(1)); }
};

TEST_F(Flush, CountsADocumentThatTheServerTook) {
    serverAnswers({"{}"});
    const auto receipt = flush();

    EXPECT_TRUE(receipt.complete);
    EXPECT_EQ(receipt.documentsSent, 1U);
    EXPECT_THAT(receipt.documentsDropped, IsEmpty());
    EXPECT_EQ(receipt.documentsStillStored, 1U);
}

TEST_F(Flush, TellsWhatBecameOfEverythingSoFar) {
    Analytics::click({{"button", 1}});
    machine.clock->advance(1);
    serverAnswers({"{}"});
    const auto receipt = flush();

    EXPECT_EQ(receipt.ledger.documents.sent, 1U);
    EXPECT_EQ(receipt.ledger.records.at("click").sent, 1U);
    EXPECT_EQ(receipt.ledger, Analytics::ledger());
}

TEST_F(Flush, SaysThatADocumentWasTooOld) {
    serverAnswers({"{}"});
    machine.clock->advance(BSConfig::sharedInstance().getMaxDataLifeTime() * 3600 + 1);
    const auto receipt = flush();

    EXPECT_THAT(receipt.documentsDropped, ::testing::ElementsAre(Pair("expired", 1U)));
    EXPECT_EQ(receipt.documentsSent, 0U);
}

TEST_F(Flush, SaysThatATransportFailed) {
    serverAnswers({std::nullopt});
    const auto receipt = flush();

    EXPECT_THAT(receipt.documentsDropped, Contains(Pair("transport_failed", 1U)));
    EXPECT_EQ(receipt.documentsSent, 0U);
}

TEST_F(Flush, SendsWhatWaitsFromEarlierVisits) {
    for (int visit = 0; visit < 3; ++visit) {
        Analytics::endVisit();
        machine.clock->advance(1);
        Analytics::startVisit();
        Analytics::click({{"button", visit}});
    }
    serverAnswers({"{}", "{}", "{}", "{}"});

    EXPECT_EQ(flush().documentsSent, 4U);
}

TEST_F(Flush, ReturnsAtTheDeadlineWithTheUploadStillUnderWay) {
    serverAnswers({});
    const auto receipt = Analytics::flush(milliseconds(0));

    EXPECT_FALSE(receipt.complete);
    EXPECT_EQ(receipt.documentsSent, 0U);
    EXPECT_EQ(receipt.documentsStillStored, 1U);
}

TEST_F(Flush, IsCompleteAtOnceWithoutANetwork) {
    machine.device->connected = false;
    const auto receipt = Analytics::flush(milliseconds(0));

    EXPECT_TRUE(receipt.complete);
    EXPECT_EQ(receipt.documentsSent, 0U);
    EXPECT_EQ(receipt.documentsStillStored, 1U);
}

TEST_F(Flush, SendsAndGivesItsReceiptOnAFullDisk) {
    const auto disk = std::make_shared<testing::FaultyFileSystem>();
    machine.setFileSystem(disk);
    Analytics::click({{"button", 1}});
    machine.clock->advance(1);
    disk->failEvery("append", std::errc::no_space_on_device);
    serverAnswers({"{}"});
    const auto receipt = flush();

    EXPECT_TRUE(receipt.complete);
    EXPECT_EQ(receipt.documentsSent, 1U);
    EXPECT_EQ(receipt.ledger.records.at("click").sent, 1U);
}

TEST_F(Flush, SendsNothingAndSaysSoWhileNothingCanBeRead) {
    const auto disk = std::make_shared<testing::FaultyFileSystem>();
    machine.setFileSystem(disk);
    Analytics::click({{"button", 1}});
    disk->failEvery("open", std::errc::io_error);
    serverAnswers({"{}"});
    const auto receipt = flush();

    EXPECT_TRUE(receipt.complete);
    EXPECT_EQ(receipt.documentsSent, 0U);
    EXPECT_THAT(receipt.documentsDropped, IsEmpty());
    EXPECT_EQ(receipt.documentsStillStored, 1U);
}

}  // namespace
}  // namespace harvelstone
