#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* replyTag = "DEBUG_HARVELSTONE_JSON[SERVER->SDK]";
constexpr const char* nilLine = "DEBUG_HARVELSTONE_JSON[SERVER->SDK] jsonDict is nil";
constexpr const char* repeatLine =
    "DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck == TRUE ) : an Exception occurred";
constexpr const char* caughtLine =
    "DEBUG_HARVELSTONE_sendAsynchronousRequest ( failCheck CATCH BLOCK ) : an Exception occurred.";
constexpr const char* skipLine = "DEBUG_HARVELSTONE_SENDDOCUMENT skip by documentNameList size is zero. ";

class DocumentReply : public SendingTest {
  protected:
    DocumentReply() {
        send();
        machine.log->clear();
    }

    static std::optional<Value> serverTime() {
        return BSConfig::sharedInstance().getPrefValue(StaticValues::VISIT_NEW_SERVER_TIME());
    }
    std::vector<std::string> linesOfAnswer(const std::optional<std::string>& body) {
        return linesOf([&] { answer(body); });
    }
    static bool hasReferrer() { return HarvelstonePostback::sharedInstance().getPostbackJosn().contains("referrer"); }
    static std::uint64_t retiredAs(Fate fate) { return fateCounts()[fate]; }
};

TEST_F(DocumentReply, AnEmptyObjectRetiresTheDocumentAndTheListRefills) {
    const auto id = headId();
    const auto lines = linesOfAnswer("{}");

    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[0], "DEBUG_HARVELSTONE_JSON[SERVER->SDK] {}");
    EXPECT_EQ(lines[1], "DEBUG_HARVELSTONE_CONFIG : documentID --> " + headId() + " ");
    EXPECT_NE(headId(), id);
    EXPECT_EQ(retiredAs(Fate::sent), 1U);
    EXPECT_EQ(uploadsUnderWay(), 0U);
    EXPECT_EQ(removalsUnderWay(), 1U);
}

TEST_F(DocumentReply, TheNextDocumentIsSentAtOnce) {
    const auto next = addNewVisit();
    answer("{}");

    EXPECT_EQ(headId(), next);
    EXPECT_EQ(sentCount(), 2U);
    EXPECT_EQ(uploadsUnderWay(), 1U);
}

TEST_F(DocumentReply, TheReplyIsLoggedWhole) {
    EXPECT_EQ(linesOfAnswer(R"({"b": [1, 2.0, null], "a": "x"})").front(),
              "DEBUG_HARVELSTONE_JSON[SERVER->SDK] {\"a\":\"x\",\"b\":[1,2.0,null]}");
}

TEST_F(DocumentReply, TheLockIsClearedFirst) {
    sendLock = true;
    setFateObserver([](const std::string&, Fate) { EXPECT_FALSE(sendLock); });
    answer("{}");
    EXPECT_FALSE(sendLock);
    EXPECT_EQ(retiredAs(Fate::sent), 1U);
}

TEST_F(DocumentReply, TheLockIsClearedBeforeTheReplyIsLookedAt) {
    for (const auto& body : {std::optional<std::string>("{}"), std::optional<std::string>("[]"), {}}) {
        addNewVisit();
        sendLock = true;
        atLine("", [] { EXPECT_FALSE(sendLock); });
        answer(body);
        EXPECT_FALSE(sendLock);
    }
}

TEST_F(DocumentReply, TheLockIsClearedForARepeatToo) {
    sendLock = true;
    answer(R"({"retry":true})");
    EXPECT_FALSE(sendLock);
}

TEST_F(DocumentReply, TheReplyIsLoggedBeforeItsInstructionsAreFollowed) {
    bool isExceededAtTheLine = true;
    atLine(replyTag, [&] { isExceededAtTheLine = Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded; });
    answer(R"({"traffic_limit_exceeded":true})");

    EXPECT_FALSE(isExceededAtTheLine);
    EXPECT_TRUE(Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded);
}

// ---- The server's time ----

TEST_F(DocumentReply, TheServersTimeIsKept) {
    answer(R"({"visit_new_server_time": 1479259000})");
    EXPECT_EQ(serverTime(), Value(1'479'259'000));
}

TEST_F(DocumentReply, TheServersTimeIsKeptEvenWhenARepeatIsAskedFor) {
    answer(R"({"visit_new_server_time": "2016-11-16", "retry": true})");
    EXPECT_EQ(serverTime(), Value("2016-11-16"));
}

TEST_F(DocumentReply, TheServersTimeIsKeptBeforeTheReplyIsLogged) {
    std::optional<Value> timeAtTheLine;
    atLine(replyTag, [&] { timeAtTheLine = serverTime(); });
    answer(R"({"visit_new_server_time": 5})");
    EXPECT_EQ(timeAtTheLine, Value(5));
}

TEST_F(DocumentReply, ANullOrMissingServersTimeLeavesTheKeptOne) {
    BSConfig::sharedInstance().putPref(StaticValues::VISIT_NEW_SERVER_TIME(), 7);
    answer(R"({"visit_new_server_time": null})");
    EXPECT_EQ(serverTime(), Value(7));
}

TEST_F(DocumentReply, AContinuedVisitCarriesTheTimeOfTheLatestReply) {
    const auto continued = addContinuedVisit();
    queueFor(continued, StaticValues::GOAL_FILE_PREFIX(), {{"g3", 50}});
    answer(R"({"visit_new_server_time": 1479259000})");

    EXPECT_EQ(uploaded().at("session").dictionary()->at("visit_new_server_time"), Value(1'479'259'000));
}

// ---- Repeats ----

TEST_F(DocumentReply, ARepeatKeepsTheDocumentAndRunsASecondLaterOnTheSameQueue) {
    const auto id = headId();
    const auto lines = linesOfAnswer(R"({"retry":true})");

    EXPECT_THAT(lines, ElementsAre("DEBUG_HARVELSTONE_JSON[SERVER->SDK] {\"retry\":true}", repeatLine));
    EXPECT_THAT(pendingIds(), ElementsAre(id));
    EXPECT_THAT(machine.workers->queues.back()->pendingDelays(), ElementsAre(1.0));
    EXPECT_THAT(machine.mainQueue->pendingDelays(), IsEmpty());
    EXPECT_EQ(uploadsUnderWay(), 1U);

    machine.workers->queues.back()->advance(0.999);
    EXPECT_EQ(sentCount(), 1U);
    machine.workers->queues.front()->advance(0.001);
    EXPECT_EQ(sentCount(), 2U);
    EXPECT_EQ(attempts(id), Value(2));
    EXPECT_EQ(uploadsUnderWay(), 1U);
}

TEST_F(DocumentReply, ARepeatIsLoggedBeforeItIsScheduled) {
    std::size_t scheduledAtTheLine = 1;
    atLine(repeatLine, [&] { scheduledAtTheLine = machine.workers->queues.back()->pendingDelays().size(); });
    answer(R"({"retry":true})");

    EXPECT_EQ(scheduledAtTheLine, 0U);
    EXPECT_THAT(machine.workers->queues.back()->pendingDelays(), SizeIs(1));
}

TEST_F(DocumentReply, ARepeatLeavesThePostbackReferrer) {
    HarvelstonePostback::sharedInstance().setPostbackReferrer("partner");
    answer(R"({"retry":true})");
    EXPECT_TRUE(hasReferrer());
}

TEST_F(DocumentReply, ARepeatWithoutARunLoopIsOnTheMainQueue) {
    machine.http->requests.back().completion({}, R"({"retry":true})", std::nullopt);
    EXPECT_THAT(machine.mainQueue->pendingDelays(), ElementsAre(1.0));
    machine.http->requests.back().completion = nullptr;
    EXPECT_EQ(uploadsUnderWay(), 1U);

    machine.mainQueue->advance(1);
    EXPECT_EQ(sentCount(), 2U);
}

TEST_F(DocumentReply, ARepeatThatAGateStopsLeavesNothingUnderWay) {
    answer(R"({"retry":true})");
    machine.device->connected = false;
    repeat();
    EXPECT_EQ(sentCount(), 1U);
    EXPECT_EQ(uploadsUnderWay(), 0U);
}

TEST_F(DocumentReply, TheServersStopHoldsTheNextDocumentBack) {
    addNewVisit();
    answer(R"({"send_allowed":false})");

    EXPECT_EQ(retiredAs(Fate::sent), 1U);
    EXPECT_EQ(sentCount(), 1U);
    EXPECT_EQ(machine.log->lines().back(),
              "DEBUG_HARVELSTONE_JSON : DEBUG_HARVELSTONE_JSON : EXIT By shouldSend is false.");
}

// ---- Replies that are no object ----

TEST_F(DocumentReply, ABodyThatIsNoJsonRetiresTheDocument) {
    HarvelstonePostback::sharedInstance().setPostbackReferrer("partner");

    EXPECT_EQ(linesOfAnswer("<html>").front(), nilLine);
    EXPECT_EQ(retiredAs(Fate::sent), 1U);
    EXPECT_FALSE(hasReferrer());
}

TEST_F(DocumentReply, AnEmptyBodyAndNullAreNoObjectEither) {
    addNewVisit();
    EXPECT_EQ(linesOfAnswer("").front(), nilLine);
    EXPECT_EQ(linesOfAnswer("null").front(), nilLine);
    EXPECT_EQ(retiredAs(Fate::sent), 2U);
}

TEST_F(DocumentReply, AListOrAScalarTakesTheCatchPath) {
    for (const auto* body : {"[]", "5", "\"text\"", "true"}) {
        addNewVisit();
        const auto lines = linesOfAnswer(body);
        EXPECT_EQ(lines[0], caughtLine) << body;
        EXPECT_EQ(lines[1], "DEBUG_HARVELSTONE_sendAsynchronousRequest Msg the reply is not an object");
        EXPECT_THAT(lines[2], StartsWith("DEBUG_HARVELSTONE_sendAsynchronousRequest callStackSymbols [\""));
        EXPECT_EQ(lines[3], listLine());
    }
    EXPECT_EQ(retiredAs(Fate::sent), 4U);
}

TEST_F(DocumentReply, WithoutAnAnswerTheDocumentIsRetiredAsFailedTransport) {
    HarvelstonePostback::sharedInstance().setPostbackReferrer("partner");
    const auto lines = linesOfAnswer(std::nullopt);

    EXPECT_EQ(lines[0], caughtLine);
    EXPECT_EQ(lines[1], "DEBUG_HARVELSTONE_sendAsynchronousRequest Msg the reply has no body");
    const auto frames = nlohmann::json::parse(lines[2].substr(lines[2].find('[')));
    EXPECT_TRUE(frames.is_array());
    EXPECT_GT(frames.size(), 1U);
    EXPECT_EQ(retiredAs(Fate::transportFailed), 1U);
    EXPECT_FALSE(hasReferrer());
}

TEST_F(DocumentReply, StatusAndTransportErrorAreNotLookedAt) {
    addNewVisit();
    machine.http->complete(0, {.status = 500, .headers = {}}, "{}", std::nullopt);
    machine.http->complete(1, {}, "{}", platform::HttpError{"broken off"});

    EXPECT_EQ(retiredAs(Fate::sent), 2U);
}

TEST_F(DocumentReply, ThePostbackReferrerIsRemovedAfterAnyOtherReply) {
    HarvelstonePostback::sharedInstance().setPostbackReferrer("partner");
    answer("{}");
    EXPECT_FALSE(hasReferrer());
}

TEST_F(DocumentReply, ThePostbackReferrerIsRemovedBeforeTheListRefills) {
    HarvelstonePostback::sharedInstance().setPostbackReferrer("partner");
    answer("{}");
    EXPECT_FALSE(section(*head(), TrackType::TYPE_POSTBACK()).contains("referrer"));
}

TEST_F(DocumentReply, AnErrorOfAnotherKindPassesOnAndTheDocumentStays) {
    const auto id = headId();
    breakClock();
    EXPECT_THROW(answer("{}"), std::runtime_error);
    EXPECT_THAT(pendingIds(), ElementsAre(id));
    EXPECT_EQ(uploadsUnderWay(), 0U);
}

// ---- A list emptied meanwhile ----

TEST_F(DocumentReply, AListEmptiedMeanwhileGetsANewDocument) {
    documetNameList->store(DocumentNames());
    const auto lines = linesOfAnswer("{}");

    ASSERT_THAT(lines, SizeIs(5));
    EXPECT_EQ(lines[0], "DEBUG_HARVELSTONE_JSON[SERVER->SDK] {}");
    EXPECT_EQ(lines[4], skipLine);
    ASSERT_THAT(pendingIds(), SizeIs(1));
    EXPECT_EQ((*currentDocument->load())->name(), headId());
    EXPECT_EQ(fateCounts().retired(), 0U);
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(DocumentReply, WhatTheReplyBroughtIsOnDiskBeforeTheNextUploadStarts) {
    addNewVisit();
    nlohmann::json preferences;
    machine.http->onStart = [&] { preferences = fileOfMap(machine, "current_config_file").at("preferences"); };
    answer(R"({"visit_new_server_time": 99})");

    EXPECT_EQ(preferences.at("visit_new_server_time"), 99);
}

}  // namespace
}  // namespace harvelstone::testing
