#include <chrono>
#include <memory>
#include <optional>

#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/HostRunLoop.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"

#include "tests/support/LoopbackServer.hpp"
#include "tests/support/NoDescriptors.hpp"
#include "tests/transmit/SendingTest.hpp"

#if !defined(HARVELSTONE_ADDRESS_SANITIZER)  // see NoDescriptors
namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

/// An app whose process has all its descriptors in use.
class OutOfDescriptors : public SendingTest {
  protected:
    /// Real uploads, to this server.
    static void useNetwork(const LoopbackServer& server) {
        auto& platform = platform::Platform::current();
        platform.workers = std::make_shared<platform::WorkerThreads>();
        platform.httpClient = std::make_shared<platform::CurlHttpClient>();
        SessionManager::sharedInstance().configure({{"targetUri", server.url()}});
    }
    void sendToTheEnd() {
        send();
        EXPECT_TRUE(OutstandingWork::waitUntilNone(OutstandingWork::Kind::upload, std::chrono::seconds(30)));
    }
};

/// The real wait of a second for the repeat is what is tested.
TEST_F(OutOfDescriptors, AnAnswerThatAsksForARepeatLeavesTheDocumentWhereItIs) {
    std::optional<NoDescriptors> shortage;
    const LoopbackServer server({[&](WireConnection& connection) {
                                     connection.readBody();
                                     shortage.emplace();
                                     connection.send(answerText("200 OK", R"({"retry":true})"));
                                 },
                                 answers("200 OK", "{}")});
    useNetwork(server);
    const auto id = headId();

    sendToTheEnd();
    shortage.reset();

    EXPECT_THAT(pendingIds(), ElementsAre(id));
    EXPECT_EQ(attempts(id), Value(2)) << "the repeat came, and could not be started";
    sendToTheEnd();
    EXPECT_EQ(fateCounts()[Fate::sent], 1U);
    EXPECT_THAT(server.waitForRequests(2), ::testing::SizeIs(2));
}

TEST_F(OutOfDescriptors, AnUploadIsNotStartedAndItsDocumentStays) {
    const LoopbackServer server;
    useNetwork(server);
    const auto id = headId();
    document(id)->putInt(StaticValues::RETRY_COUNT(), 1);  // filled already: its queues are not read any more
    std::vector<std::string> lines;
    {
        const NoDescriptors shortage;
        lines = linesOfAPass();
    }

    EXPECT_EQ(lines.back(), "DEBUG_HARVELSTONE_JSON : an Exception occurred.");
    EXPECT_THAT(pendingIds(), ElementsAre(id));
    EXPECT_EQ(uploadsUnderWay(), 0U);
    EXPECT_EQ(server.connectionCount(), 0);
}

TEST_F(OutOfDescriptors, ARemovalThatCannotBeTimedLeavesTheFilesAndTheLoopGoesOn) {
    const auto expired = headId();
    const auto next = addNewVisit();
    expire(expired);
    document(next)->putInt(StaticValues::RETRY_COUNT(), 1);
    platform::Platform::current().mainQueue = std::make_shared<platform::HostRunLoop>();
    {
        const NoDescriptors shortage;
        send();
    }

    EXPECT_THAT(pendingIds(), ElementsAre(next));
    EXPECT_EQ(sentCount(), 1U);
    EXPECT_EQ(removalsUnderWay(), 0U);
    EXPECT_THAT(machine.storedFiles(), ::testing::Contains(expired + ".Harvelstone"));
    EXPECT_THAT(machine.log->platformLines(), ::testing::Contains("harvelstone: the files of " + expired +
                                                                  " are left to pruning: no timer: Too many open files")
                                                  .Times(1));
}

}  // namespace
}  // namespace harvelstone::testing
#endif
