#include <algorithm>
#include <gmock/gmock.h>
#include <set>
#include <string>

#include "tests/host/HostTest.hpp"
#include "tests/host/TlsOfHost.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::UnorderedElementsAre;

class Fork : public HostTest {
  protected:
    void play(const std::string& story) {
        HostProcess app(HOST_APP, {url(), documents_.path(), "fork", story});
        finish(app);
    }
    virtual std::string url() const { return server_.url(); }
    void playDuringUpload();
    void playDuringPasses(int children);

    void finish(HostProcess& app) {
        EXPECT_TRUE(app.waitForEnd().isExit(0));
        const auto names = documentNames();
        EXPECT_EQ(std::set(names.begin(), names.end()).size(), names.size()) << "a document was sent twice";
    }
};

void Fork::playDuringUpload() {
    HeldAnswer held;
    server_.setScript({held.behaviour(answerText("200 OK", "{}")),
                       [&](WireConnection& connection) {
                           connection.readBody();
                           held.letGo();
                           connection.send(answerText("200 OK", "{}"));
                       },
                       answers("200 OK", "{}")});
    HostProcess app(HOST_APP, {url(), documents_.path(), "fork", "during an upload"});
    EXPECT_EQ(app.nextLine(), "uploading");
    EXPECT_TRUE(held.hasArrived());
    app.goOn();
    finish(app);
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "child", "parent 2"));
}

void Fork::playDuringPasses(int children) {
    HostProcess app(HOST_APP, {url(), documents_.path(), "fork", "during passes", std::to_string(children)});
    finish(app);
    const auto all = clicks();
    const std::set<std::string> distinct(all.begin(), all.end());
    EXPECT_EQ(distinct.size(), all.size()) << ::testing::PrintToString(all);
    for (int number = 0; number < children; ++number) EXPECT_TRUE(distinct.contains("child " + std::to_string(number)));
    int rounds = 0;
    while (distinct.contains("parent " + std::to_string(rounds))) ++rounds;
    EXPECT_EQ(static_cast<std::size_t>(rounds + children), all.size()) << "no round of the parent's is missing";
}

TEST_F(Fork, WhileIdleGivesTheChildRecordsAndDocumentsOfItsOwn) {
    play("idle");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "child", "parent 2"));
}

TEST_F(Fork, BetweenRecordingAndSendingLeavesTheRecordToTheParent) {
    play("between recording and sending");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "child", "parent 2"));
}

TEST_F(Fork, DuringAnUploadLeavesTheUploadToTheParent) { playDuringUpload(); }

TEST_F(Fork, DuringPassesOnAnotherThreadLosesAndDoublesNothing) { playDuringPasses(/*children=*/20); }

TEST_F(Fork, LeavesRecordsThatWaitInMemoryToTheParent) {
    play("with records in memory");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "child", "parent 2"));
}

TEST_F(Fork, LeavesWhatAnEndedChildDidNotSendToTheParent) {
    play("the child ends before it sends");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "child", "parent 2"));
}

TEST_F(Fork, LeavesWhatARunningChildStoresToTheChild) {
    play("the child still runs");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent", "child", "child again"));
}

TEST_F(Fork, OfAChildMakesAnotherProcessOfItsOwn) {
    play("grandchild");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "child", "grandchild", "parent 2"));
}

TEST_F(Fork, LeavesNothingOfAChildThatOnlyExecsOrExits) {
    play("the child only execs");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "parent 2"));
}

TEST_F(Fork, InsideTheLogSinkPutsTheLibraryOutOfActionInTheChild) {
    play("inside the sink");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "parent 2"));
}

class ForkOverTls : public Fork {
  protected:
    std::string url() const override { return tls_.url(); }

    TlsOfHost tls_{documents_.path(), server_.port()};
};

TEST_F(ForkOverTls, LeavesTheConnectionToTheParentAndGivesTheChildOneOfItsOwn) {
    play("idle");
    EXPECT_THAT(clicks(), UnorderedElementsAre("parent 1", "child", "parent 2"));
    EXPECT_EQ(tls_.handshakeCount(), 2);
}

TEST_F(ForkOverTls, DuringAnUploadLeavesTheUploadToTheParent) { playDuringUpload(); }

TEST_F(ForkOverTls, DuringPassesOnAnotherThreadLosesAndDoublesNothing) { playDuringPasses(/*children=*/8); }

}  // namespace
}  // namespace harvelstone::testing
