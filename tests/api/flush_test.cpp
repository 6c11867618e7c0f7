#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/services/BSConfig.hpp"

#include "tests/support/ServicesFixture.hpp"

namespace harvelstone {
namespace {

using std::chrono::milliseconds;
using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Pair;

struct Flush : ::testing::Test {
    testing::Machine machine;

    Flush() { Analytics::installReferrer({}); }

    /// Flushes with a server that gives these answers, in a thread of the test's own.
    FlushReceipt flushWithAnswers(const std::vector<std::optional<std::string>>& answers) {
        std::atomic<bool> done = false;
        FlushReceipt receipt;
        std::thread flushing([&] {
            receipt = Analytics::flush(std::chrono::minutes(1));
            done = true;
        });
        std::size_t answered = 0;
        while (!done) {
            if (answered < answers.size() && machine.http->requestCount() > answered) {
                machine.http->answer(answered, answers[answered]);
                ++answered;
            }
            std::this_thread::yield();
        }
        flushing.join();
        return receipt;
    }
};

TEST_F(Flush, CountsADocumentThatTheServerTook) {
    const auto receipt = flushWithAnswers({"{}"});

    EXPECT_TRUE(receipt.complete);
    EXPECT_EQ(receipt.documentsSent, 1U);
    EXPECT_THAT(receipt.documentsDropped, IsEmpty());
    EXPECT_EQ(receipt.documentsStillStored, 1U);
}

TEST_F(Flush, SaysWhyADocumentWasDropped) {
    machine.clock->advance(BSConfig::sharedInstance().getMaxDataLifeTime() * 3600 + 1);
    const auto expired = flushWithAnswers({});
    EXPECT_THAT(expired.documentsDropped, Contains(Pair("expired", 1U)));

    Analytics::endVisit();
    Analytics::startVisit();
    const auto failed = flushWithAnswers({std::nullopt, std::nullopt});
    EXPECT_THAT(failed.documentsDropped, Contains(Pair("transport_failed", 1U)));
    EXPECT_EQ(failed.documentsSent, 0U);
}

TEST_F(Flush, ReturnsAtTheDeadlineWithTheUploadStillUnderWay) {
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

}  // namespace
}  // namespace harvelstone
