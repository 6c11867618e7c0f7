#include "harvelstone/services/BSUtil.hpp"

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* noSessionLine = "DEBUG_HARVELSTONE_CLICK_DATA : none of the document. documentDic.count is zero.";
constexpr const char* startLine = "DEBUG_HARVELSTONE_JSON : an Exception occurred.";

class ImmediateSends : public SendingTest {
  protected:
    std::vector<std::string> linesOfAClick(const Dictionary& record = {{"button", "buy"}}) {
        return linesOf([&] { manager().sendClickDataImmediately(record); });
    }
    std::vector<std::string> linesOfAGoal(const Dictionary& record = {{"g3", 50}}) {
        return linesOf([&] { manager().sendGoalDataImmediately(record); });
    }
    std::vector<std::string> linesOfAnswer(const std::optional<std::string>& body) {
        return linesOf([&] { answer(body); });
    }

    static Dictionary tooDeep() {
        Value value(1);
        for (int i = 0; i < 600; ++i) value = List{std::move(value)};
        return {{"deep", std::move(value)}};
    }
    static std::shared_ptr<PageMap> page() { return Tracker::sharedInstance().getCurrentPageMap(); }
    std::string sentJson() const { return machine.http->requests.back().json(); }
    static Dictionary headSession() { return section(*head(), TrackType::TYPE_SESSION()); }
};

TEST_F(ImmediateSends, AClickGoesOutWithTheHeadsSessionAndNothingElse) {
    addNewVisit();
    linesOfAClick();

    EXPECT_EQ(Value(uploaded()),
              Value(Dictionary{{"session", headSession()}, {"click", List{Dictionary{{"button", "buy"}}}}}));
}

TEST_F(ImmediateSends, AGoalGoesOutStampedAndDated) {
    linesOfAGoal();

    const Dictionary goal{{"g3", 50},
                          {StaticValues::PARAM_AP_VR(), "3.1"},
                          {StaticValues::PARAM_SDK_VERSION(), "21.2.54"},
                          {StaticValues::PARAM_VT_TZ(), BSUtil::getCurrentDateString()}};
    EXPECT_EQ(Value(uploaded()), Value(Dictionary{{"session", headSession()}, {"goal", List{goal}}}));
}

TEST_F(ImmediateSends, TheGoalsDateIsThatOfTheSendWhateverTheRecordSays) {
    linesOfAGoal({{StaticValues::PARAM_VT_TZ(), "yesterday"}});

    EXPECT_EQ(uploaded().at("goal").list()->front().dictionary()->at(StaticValues::PARAM_VT_TZ()),
              Value(BSUtil::getCurrentDateString()));
}

TEST_F(ImmediateSends, AClickLogsItsLines) {
    const auto id = headId();
    const auto lines = linesOfAClick();

    EXPECT_THAT(lines, ElementsAre("DEBUG_HARVELSTONE_CLICK_DATA sendClickDataImmediately(documentID) : " + id,
                                   "DEBUG_HARVELSTONE_JSON_CLICK_DATA[SDK->SERVER] " + sentJson() + " ",
                                   std::string("DEBUG_HARVELSTONE_JSON[SDK REQUEST URL] ") + target));
}

TEST_F(ImmediateSends, AGoalLogsItsLinesTheIdUnderTheClickTag) {
    const auto id = headId();
    const auto lines = linesOfAGoal();

    EXPECT_THAT(lines, ElementsAre("DEBUG_HARVELSTONE_CLICK_DATA sendGoalDataImmediately(documentID) : " + id,
                                   "DEBUG_HARVELSTONE_JSON_GOAL_DATA[SDK->SERVER] " + sentJson() + " ",
                                   std::string("DEBUG_HARVELSTONE_JSON[SDK REQUEST URL] ") + target));
}

TEST_F(ImmediateSends, NothingIsStoredOrTaken) {
    const auto ids = pendingIds();
    const auto json = head()->jsonString();
    const auto files = machine.storedFiles();
    linesOfAClick();
    linesOfAGoal();
    answer("{}");

    EXPECT_EQ(pendingIds(), ids);
    EXPECT_EQ(head()->jsonString(), json);
    EXPECT_EQ(machine.storedFiles(), files);
}

TEST_F(ImmediateSends, TheSendLoopsGatesDoNotHold) {
    ProfileManager::sharedInstance().setConsent(false);
    sendLock = true;
    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = true;
    linesOfAClick();

    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(ImmediateSends, TheTargetIsReadBeforeTheIdIsLogged) {
    atLine("DEBUG_HARVELSTONE_CLICK_DATA send", [] {
        SessionManager::sharedInstance().configure({{"targetUri", "http://later.test/"}});
    });
    linesOfAClick();
    EXPECT_EQ(machine.http->requests.back().request.url, target);
}

// ---- What stops them ----

TEST_F(ImmediateSends, WithoutANetworkTheRecordIsLost) {
    machine.device->connected = false;

    EXPECT_THAT(linesOfAClick(), ElementsAre("DEBUG_HARVELSTONE_CLICK_DATA Network is not connected."));
    EXPECT_THAT(linesOfAGoal(), ElementsAre("DEBUG_HARVELSTONE_GOAL_DATA Network is not connected."));
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(ImmediateSends, WithoutAPendingDocumentNothingIsLoggedOrSent) {
    documetNameList->store(DocumentNames());

    EXPECT_THAT(linesOfAClick(), IsEmpty());
    EXPECT_THAT(linesOfAGoal(), IsEmpty());
    EXPECT_EQ(sentCount(), 0U);
    EXPECT_THAT(pendingIds(), IsEmpty());
}

TEST_F(ImmediateSends, TheNetworkIsLookedAtBeforeTheList) {
    machine.device->connected = false;
    documetNameList->store(DocumentNames());

    EXPECT_THAT(linesOfAClick(), SizeIs(1));
}

TEST_F(ImmediateSends, AHeadWithoutASessionSendsNothing) {
    documetNameList->store(DocumentNames({"gone"}));

    EXPECT_THAT(linesOfAClick(),
                ElementsAre("DEBUG_HARVELSTONE_CLICK_DATA sendClickDataImmediately(documentID) : gone", noSessionLine));
    EXPECT_THAT(linesOfAGoal(),
                ElementsAre("DEBUG_HARVELSTONE_CLICK_DATA sendGoalDataImmediately(documentID) : gone", noSessionLine));
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(ImmediateSends, AnEmptySessionOrOneOfAnotherKindSendsNothing) {
    head()->putDictionary(TrackType::TYPE_SESSION().typeValue(), {});
    EXPECT_EQ(linesOfAClick().back(), noSessionLine);
    head()->putString(TrackType::TYPE_SESSION().typeValue(), "broken");
    EXPECT_EQ(linesOfAClick().back(), noSessionLine);
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(ImmediateSends, ARecordThatCannotBeSerialisedIsLost) {
    EXPECT_EQ(linesOfAClick(tooDeep()).back(),
              "DEBUG_HARVELSTONE_CLICK_DATA : An error the payload is nested deeper than 512 containers ");
    EXPECT_EQ(linesOfAGoal(tooDeep()).back(),
              "DEBUG_HARVELSTONE_GOAL_DATA : An error the payload is nested deeper than 512 containers ");
    EXPECT_EQ(sentCount(), 0U);
}

// ---- The page's goals ----

TEST_F(ImmediateSends, AGoalClearsThePagesGoals) {
    page()->putGoalMapData({{"g3", 50}});
    linesOfAGoal();
    EXPECT_THAT(page()->goalMapData(), IsEmpty());
}

TEST_F(ImmediateSends, AGoalClearsThePagesGoalsEvenWhenItCannotBeSerialised) {
    page()->putGoalMapData({{"g3", 50}});
    linesOfAGoal(tooDeep());
    EXPECT_THAT(page()->goalMapData(), IsEmpty());
}

TEST_F(ImmediateSends, AClickLeavesThePagesGoals) {
    page()->putGoalMapData({{"g3", 50}});
    linesOfAClick();
    EXPECT_THAT(page()->goalMapData(), SizeIs(1));
}

TEST_F(ImmediateSends, AGoalThatIsNotSentLeavesThePagesGoals) {
    page()->putGoalMapData({{"g3", 50}});
    head()->putDictionary(TrackType::TYPE_SESSION().typeValue(), {});
    linesOfAGoal();
    EXPECT_THAT(page()->goalMapData(), SizeIs(1));
}

// ---- Exceptions ----

TEST_F(ImmediateSends, AnAbsentAppVersionEndsAGoalWithItsReason) {
    page()->putGoalMapData({{"g3", 50}});
    SessionManager::sharedInstance().configure({{"apVr", nullptr}});

    EXPECT_EQ(linesOfAGoal().back(),
              "DEBUG_HARVELSTONE_GOAL_DATA : An Exception no value for key \"" + StaticValues::PARAM_AP_VR() + "\" ");
    EXPECT_EQ(sentCount(), 0U);
    EXPECT_THAT(page()->goalMapData(), SizeIs(1));
    linesOfAClick();
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(ImmediateSends, AHeadThatNamesNoFileEndsAClickWithItsReason) {
    documetNameList->store(DocumentNames({".."}));
    const auto reason = refusal([] { document(".."); });

    EXPECT_EQ(linesOfAClick().back(), "DEBUG_HARVELSTONE_CLICK_DATA : An Exception " + reason + " ");
}

TEST_F(ImmediateSends, AnExceptionAtTheStartIsLoggedAsTheSendLoops) {
    SessionManager::sharedInstance().configure({{"targetUri", nullptr}});

    EXPECT_EQ(linesOfAClick().back(), startLine);
    EXPECT_EQ(linesOfAGoal().back(), startLine);
    EXPECT_EQ(uploadsUnderWay(), 0U);
}

TEST_F(ImmediateSends, AnErrorOfAnotherKindPassesOn) {
    breakClock();  // a goal is dated
    EXPECT_THROW(manager().sendGoalDataImmediately({{"g3", 50}}), std::runtime_error);
}

// ---- The reply ----

TEST_F(ImmediateSends, TheReplyIsLoggedAndNothingElse) {
    linesOfAClick();
    EXPECT_THAT(linesOfAnswer(R"({"retry":true,"traffic_limit_exceeded":true,"visit_new_server_time":5})"),
                ElementsAre("DEBUG_HARVELSTONE_JSON_CLICK_DATA[SERVER->SDK] "
                            R"({"retry":true,"traffic_limit_exceeded":true,"visit_new_server_time":5})"));

    EXPECT_FALSE(Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded);
    EXPECT_EQ(BSConfig::sharedInstance().getPrefValue("visit_new_server_time"), std::nullopt);
    EXPECT_THAT(machine.workers->queues.back()->pendingDelays(), IsEmpty());
    EXPECT_EQ(uploadsUnderWay(), 0U);
}

TEST_F(ImmediateSends, TheReplyLeavesTheLockAndThePostbackReferrer) {
    linesOfAClick();
    HarvelstonePostback::sharedInstance().setPostbackReferrer("partner");
    sendLock = true;
    answer("{}");

    EXPECT_TRUE(sendLock);
    EXPECT_TRUE(HarvelstonePostback::sharedInstance().getPostbackJosn().contains("referrer"));
}

TEST_F(ImmediateSends, AGoalsReplyHasTheGoalsTag) {
    linesOfAGoal();
    EXPECT_THAT(linesOfAnswer("{}"), ElementsAre("DEBUG_HARVELSTONE_JSON_GOAL_DATA[SERVER->SDK] {}"));
}

TEST_F(ImmediateSends, AReplyThatIsNoObjectIsNil) {
    for (const auto* body : {"", "<html>", "null", "[]", "5"}) {
        linesOfAClick();
        EXPECT_THAT(linesOfAnswer(body), ElementsAre("DEBUG_HARVELSTONE_JSON_CLICK_DATA[SERVER->SDK] jsonDict is nil"));
        linesOfAGoal();
        EXPECT_THAT(linesOfAnswer(body), ElementsAre("DEBUG_HARVELSTONE_JSON_GOAL_DATA[SERVER->SDK] jsonDict is nil"));
    }
}

TEST_F(ImmediateSends, WithoutAnAnswerTheCatchLineIsLoggedAlone) {
    linesOfAClick();
    EXPECT_THAT(linesOfAnswer(std::nullopt),
                ElementsAre("DEBUG_HARVELSTONE_JSON_CLICK_DATA_sendAsynchronousRequest ( failCheck CATCH BLOCK ) : an "
                            "Exception occurred."));
    linesOfAGoal();
    EXPECT_THAT(linesOfAnswer(std::nullopt),
                ElementsAre("DEBUG_HARVELSTONE_JSON_GOAL_DATA_sendAsynchronousRequest ( failCheck CATCH BLOCK ) : an "
                            "Exception occurred."));
}

}  // namespace
}  // namespace harvelstone::testing
