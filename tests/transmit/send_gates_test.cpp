#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* holdLine = "DEBUG_HARVELSTONE_JSON : EXIT By ltvt == 1 and install Check is false. ";
constexpr const char* holdOverLine = "DEBUG_HARVELSTONE_JSON : current time is over than 30 second from start the app.";
constexpr const char* permissionLine = "DEBUG_HARVELSTONE_JSON : DEBUG_HARVELSTONE_JSON : EXIT By shouldSend is false.";
constexpr const char* lockLine = "DEBUG_HARVELSTONE_JSON : EXIT By sendLock is true.";
constexpr const char* offlineLine = "DEBUG_HARVELSTONE_LOG : deleteOldestJsonFile Enter.";

class SendGates : public SendingTest {
  protected:
    /// From now on the install referrer is awaited, until 30 seconds from now.
    void beginHold() {
        ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), false);
        sendStartTimestamp = machine.clock->now() + 30;
    }
    static void setVisits(std::int64_t count) { (*documentDB)->putInt(StaticValues::PARAM_LTVT(), count); }
    static void refuseConsent() { ProfileManager::sharedInstance().setConsent(false); }
};

// ---- The start-up hold ----

TEST_F(SendGates, TheHoldOfTheFirstVisitIsLogged) {
    beginHold();
    setVisits(1);

    EXPECT_THAT(linesOfAPass(), ElementsAre(holdLine));
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendGates, TheHoldOfALaterVisitIsSilent) {
    beginHold();
    setVisits(2);

    EXPECT_THAT(linesOfAPass(), IsEmpty());
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendGates, TheHoldIsOverWhenTheWholeSecondsReachItsEnd) {
    machine.clock->set(1'479'300'000);
    beginHold();
    machine.clock->set(1'479'300'029.999);
    EXPECT_THAT(linesOfAPass(), ElementsAre(holdLine));

    machine.clock->set(1'479'300'030);
    EXPECT_EQ(linesOfAPass().front(), holdOverLine);
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(SendGates, TheFractionOfTheCurrentSecondDoesNotCount) {
    machine.clock->set(1'479'300'000.5);
    beginHold();
    machine.clock->set(1'479'300'030.9);
    EXPECT_THAT(linesOfAPass(), ElementsAre(holdLine));

    machine.clock->set(1'479'300'031);
    EXPECT_EQ(linesOfAPass().front(), holdOverLine);
}

TEST_F(SendGates, TheFirstPassAfterTheHoldEndsTheWaitForGood) {
    beginHold();
    machine.clock->advance(31);
    EXPECT_EQ(linesOfAPass().front(), holdOverLine);
    EXPECT_TRUE(ProfileManager::sharedInstance().isInstallReferrerSet());

    sendStartTimestamp = machine.clock->now() + 1000;
    EXPECT_THAT(linesOfAPass(), Not(Contains(holdOverLine)));
    EXPECT_EQ(sentCount(), 2U);
}

TEST_F(SendGates, TheWaitIsEndedBeforeThatIsLogged) {
    beginHold();
    machine.clock->advance(31);
    bool isSetAtTheLine = false;
    atLine(holdOverLine, [&] { isSetAtTheLine = ProfileManager::sharedInstance().isInstallReferrerSet(); });
    send();

    EXPECT_TRUE(isSetAtTheLine);
}

TEST_F(SendGates, AnInstallReferrerEndsTheHoldAtOnce) {
    beginHold();
    endHold();

    EXPECT_EQ(linesOfAPass().front(), listLine());
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(SendGates, ThirtySecondsFromTheStartAreHeld) {
    // The manager was made at 1479259200.5.
    ProfileManager::sharedInstance().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), false);
    machine.clock->set(1'479'259'230.9);
    EXPECT_THAT(linesOfAPass(), ElementsAre(holdLine));
    machine.clock->set(1'479'259'231);
    EXPECT_EQ(linesOfAPass().front(), holdOverLine);
}

// ---- The other gates ----

TEST_F(SendGates, WithoutPermissionNothingIsSent) {
    refuseConsent();

    EXPECT_THAT(linesOfAPass(), ElementsAre(permissionLine));
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendGates, TheServersWaitIsRespected) {
    ProfileManager::sharedInstance().updateResponse({{"wait_seconds", 60}});
    EXPECT_THAT(linesOfAPass(), ElementsAre(permissionLine));

    machine.clock->advance(60);
    send();
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(SendGates, AnArmedLockRefusesThePass) {
    sendLock = true;

    EXPECT_THAT(linesOfAPass(), ElementsAre(lockLine));
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendGates, APassNeverArmsTheLock) {
    send();
    EXPECT_FALSE(sendLock);
    EXPECT_EQ(sendRcount, 0);
}

TEST_F(SendGates, WithoutANetworkStoredFilesArePrunedInstead) {
    machine.device->connected = false;
    machine.writeFile("old.Harvelstone", "");
    machine.setFileAge("old.Harvelstone", 5 * 3600);
    const auto path = machine.folder + "old.Harvelstone";

    EXPECT_THAT(linesOfAPass(), ElementsAre(offlineLine, "DEBUG_HARVELSTONE_DELETE_FILE(deletePath) : deleted:" + path,
                                            "documentManager.deleteOldestJsonFile : " + path));
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendGates, AnEmptyListGetsANewDocumentAndNoUpload) {
    documetNameList->store(DocumentNames());
    const auto lines = linesOfAPass();

    ASSERT_THAT(pendingIds(), SizeIs(1));
    EXPECT_EQ((*currentDocument->load())->name(), headId());
    ASSERT_THAT(lines, SizeIs(5));
    EXPECT_EQ(lines[0], "documetNameList : []");
    EXPECT_EQ(lines[1], "DEBUG_HARVELSTONE_LOG : createDocument Enter.");
    EXPECT_EQ(lines[2], "DEBUG_HARVELSTONE_CONFIG : documentID --> " + headId() + " ");
    EXPECT_EQ(sentCount(), 0U);
}

// ---- Their order ----

TEST_F(SendGates, TheStoredFilesAreCountedBeforeTheFirstGate) {
    HarvelstoneCore::setFlagSdkLockState(true);
    beginHold();

    EXPECT_THAT(linesOfAPass(),
                ElementsAre("CURRENT_DOCUMENT, remains file count is : " + std::to_string(machine.storedFiles().size()),
                            holdLine));
}

TEST_F(SendGates, ThePassStopsAtTheFirstOfAllGatesShut) {
    beginHold();
    refuseConsent();
    sendLock = true;
    machine.device->connected = false;
    documetNameList->store(DocumentNames());

    EXPECT_THAT(linesOfAPass(), ElementsAre(holdLine));
    endHold();
    EXPECT_THAT(linesOfAPass(), ElementsAre(permissionLine));
    ProfileManager::sharedInstance().setConsent(true);
    EXPECT_THAT(linesOfAPass(), ElementsAre(lockLine));
    sendLock = false;
    EXPECT_THAT(linesOfAPass(), ElementsAre(offlineLine));
    EXPECT_THAT(pendingIds(), IsEmpty());
    machine.device->connected = true;
    EXPECT_EQ(linesOfAPass().front(), "documetNameList : []");
}

TEST_F(SendGates, TheTargetIsReadAfterTheListIsLoggedAndBeforeItsHead) {
    const auto setTarget = [](const std::string& uri) {
        return [uri] { SessionManager::sharedInstance().configure({{"targetUri", uri}}); };
    };
    atLine("documetNameList", setTarget("http://at.the.list/"));
    send();
    atLine("DocumentManager.sendDocument", setTarget("http://at.the.head/"));
    send();

    EXPECT_EQ(machine.http->requests[0].request.url, "http://at.the.list/");
    EXPECT_EQ(machine.http->requests[1].request.url, "http://at.the.list/");
}

TEST_F(SendGates, AnEmptySessionIsNoticedBeforeItsAge) {
    head()->putDictionary(TrackType::TYPE_SESSION().typeValue(), {});
    const auto id = headId();

    EXPECT_THAT(linesOfAPass(),
                ElementsAre(listLine(), idLine(id),
                            "DEBUG_HARVELSTONE_JSON : none of the document. documentDic.count is zero."));
    EXPECT_THAT(pendingIds(), ElementsAre(id));
}

TEST_F(SendGates, TheAgeIsLookedAtBeforeTheAttempts) {
    const auto id = headId();
    expire(id);
    document(id)->putInt(StaticValues::RETRY_COUNT(), 3);

    EXPECT_THAT(linesOfAPass(), Contains("DEBUG_HARVELSTONE_JSON : this document life time is over. " + id));
    EXPECT_EQ(attempts(id), Value(3));
}

TEST_F(SendGates, TheAttemptsAreLookedAtBeforeTheContentAndTheTraffic) {
    const auto id = headId();
    makeHeadContinued();
    document(id)->putInt(StaticValues::RETRY_COUNT(), 3);
    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = true;
    send();

    EXPECT_EQ(fateCounts()[Fate::retriesExhausted], 1U);
    EXPECT_EQ(fateCounts().retired(), 1U);
}

TEST_F(SendGates, TheTrafficIsLookedAtBeforeAppOpenFlagAndCustomPushAreTaken) {
    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = true;
    HarvelstoneCore::setAppOpenFlag(true);
    Tracker::sharedInstance().setCustomPushMapData(Dictionary{{"message", "custom"}});
    send();

    EXPECT_EQ(fateCounts()[Fate::trafficLimit], 1U);
    EXPECT_TRUE(HarvelstoneCore::getAppOpenFlag());
    EXPECT_NE(Tracker::sharedInstance().customPushMapData(), std::nullopt);
}

TEST_F(SendGates, TheContentIsLookedAtBeforeTheTraffic) {
    makeHeadContinued();
    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = true;
    send();

    EXPECT_EQ(fateCounts()[Fate::noConversionData], 1U);
    EXPECT_EQ(fateCounts().retired(), 1U);
}

}  // namespace
}  // namespace harvelstone::testing
