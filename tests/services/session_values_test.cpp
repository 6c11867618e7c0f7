// The session-scoped values, the install referrer and the permission to send, as the profile manager keeps them.

#include <string>
#include <vector>

#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/Tracker.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

ProfileManager& profile() { return ProfileManager::sharedInstance(); }

/// The keys that a session section takes from the store as they are.
std::vector<std::string> textKeys() {
    using S = StaticValues;
    return {S::PARAM_PDTK(),
            S::PARAM_MVT1(),
            S::PARAM_MVT2(),
            S::PARAM_MVT3(),
            S::PARAM_MAT_SOURCE(),
            S::PARAM_MAT_MEDIUM(),
            S::PARAM_MAT_KWD(),
            S::PARAM_MAT_CAMPAIGN(),
            S::PARAM_MAT_AFFILIATE(),
            S::PARAM_MAT_AFFILIATE_SUB(),
            S::PARAM_MAT_UPDATE_SID(),
            S::PARAM_WA_CAMPAIGN(),
            S::PARAM_WA_SOURCE(),
            S::PARAM_WA_APP(),
            S::PARAM_WA_CLASSIFICATION(),
            S::PARAM_WA_AD(),
            S::PARAM_WA_LOCATION(),
            S::PARAM_WA_KEYWORD(),
            S::PARAM_IAT_SOURCE(),
            S::PARAM_IAT_MEDIUM(),
            S::PARAM_IAT_KWD(),
            S::PARAM_IAT_CAMPAIGN(),
            S::PARAM_IAT_AFFILIATE(),
            S::PARAM_IAT_AFFILIATE_SUB(),
            S::PARAM_FB_SOURCE(),
            S::PARAM_UTM_CAMPAIGN(),
            S::PARAM_UTM_CONTENT(),
            S::PARAM_UTM_MEDIUM(),
            S::PARAM_UTM_SOURCE(),
            S::PARAM_UTM_TERM(),
            S::PARAM_GCLID(),
            S::PARAM_ICMP(),
            S::PARAM_ICMP_TRACE(),
            S::PARAM_PUSH_MESSAGE_KEY(),
            S::SAR_INFO()};
}

using SessionValuesTest = ServiceTest;
using InstallReferrerTest = ServiceTest;
using SendingTest = ServiceTest;
using SessionValuesLives = LivesTest;

TEST_F(SessionValuesTest, HaveADefaultForEveryKeyThatADocumentNeeds) {
    for (const auto& key : textKeys()) EXPECT_EQ(profile().getSessionStringData(key), Value("")) << key;
    EXPECT_EQ(profile().getSessionLongData(StaticValues::PARAM_MAT_UPDATE_TIME()), 0);
    EXPECT_EQ(profile().getSessionIntegerData(StaticValues::PARAM_CONV_TP()), 0);
    EXPECT_EQ(profile().getSessionStringListData(StaticValues::PARAM_MAT_SOURCE_TRACE()), List());
    EXPECT_EQ(profile().getSessionStringListData(StaticValues::PARAM_MAT_CAMPAIGN_TRACE()), List());
}

TEST_F(SessionValuesTest, AreAbsentForOtherKeysUntilPut) {
    for (const std::string& key : {StaticValues::HV_SOURCE_CLICK_TIME(), StaticValues::HV_SOURCE_UPDATE_SID(),
                                   std::string("unknown"), std::string()}) {
        EXPECT_EQ(profile().getSessionStringData(key), std::nullopt) << key;
        EXPECT_EQ(profile().getSessionStringListData(key), std::nullopt) << key;
        EXPECT_EQ(profile().getSessionLongData(key), 0) << key;
        EXPECT_EQ(profile().getSessionIntegerData(key), 0) << key;
    }
}

TEST_F(SessionValuesTest, ComeBackAsTheyWerePut) {
    profile().putSessionStringData("text", "value");
    profile().putSessionStringData("number", 7);
    profile().putSessionData("list", List{"a", "b"});
    profile().putSessionData("long", std::int64_t{1} << 40);
    EXPECT_EQ(profile().getSessionStringData("text"), Value("value"));
    EXPECT_EQ(profile().getSessionStringData("number"), Value(7));
    EXPECT_EQ(profile().getSessionStringListData("list"), (List{"a", "b"}));
    EXPECT_EQ(profile().getSessionLongData("long"), std::int64_t{1} << 40);
    EXPECT_EQ(profile().getSessionIntegerData("long"), std::int64_t{1} << 40);
}

TEST_F(SessionValuesTest, ReplaceDefaultsAndEachOther) {
    const auto& key = StaticValues::PARAM_MAT_SOURCE();
    profile().putSessionStringData(key, "first");
    profile().putSessionStringData(key, "second");
    EXPECT_EQ(profile().getSessionStringData(key), Value("second"));
    EXPECT_EQ(profile().getSessionStringData(StaticValues::PARAM_MAT_MEDIUM()), Value(""));
}

TEST_F(SessionValuesTest, AreAbsentOnceClearedEvenWhereThereIsADefault) {
    profile().putSessionStringData(StaticValues::PARAM_MAT_SOURCE(), "value");
    profile().putSessionData(StaticValues::PARAM_MAT_SOURCE(), nullptr);
    profile().putSessionData(StaticValues::PARAM_MAT_SOURCE_TRACE(), nullptr);
    profile().putSessionData(StaticValues::PARAM_CONV_TP(), 7);
    profile().putSessionData(StaticValues::PARAM_CONV_TP(), nullptr);
    EXPECT_EQ(profile().getSessionStringData(StaticValues::PARAM_MAT_SOURCE()), std::nullopt);
    EXPECT_EQ(profile().getSessionStringListData(StaticValues::PARAM_MAT_SOURCE_TRACE()), std::nullopt);
    EXPECT_EQ(profile().getSessionIntegerData(StaticValues::PARAM_CONV_TP()), 0);
}

TEST_F(SessionValuesTest, ReadAsTheDefaultWhereAnotherKindIsStored) {
    profile().putSessionData(StaticValues::PARAM_MAT_SOURCE(), List{"a"});
    profile().putSessionData(StaticValues::PARAM_MAT_SOURCE_TRACE(), "a");
    profile().putSessionData("unknown", List());
    EXPECT_EQ(profile().getSessionStringData(StaticValues::PARAM_MAT_SOURCE()), Value(""));
    EXPECT_EQ(profile().getSessionStringListData(StaticValues::PARAM_MAT_SOURCE_TRACE()), List());
    EXPECT_EQ(profile().getSessionStringData("unknown"), std::nullopt);
}

TEST_F(SessionValuesTest, ForgetATrace) {
    const auto& key = StaticValues::PARAM_MAT_CAMPAIGN_TRACE();
    profile().putSessionData(key, List{"summer", "autumn"});
    profile().clearSessionTrace(key);
    EXPECT_EQ(profile().getSessionStringListData(key), List());
}

TEST_F(SessionValuesTest, LieInTheFileThatPruningSpares) {
    profile().putSessionStringData("key", "value");
    EXPECT_THAT(machine.storedFiles(), ::testing::ElementsAre("BS_SESSION_MAP.Harvelstone"));
    EXPECT_EQ(machine.readFile("BS_SESSION_MAP.Harvelstone"), R"({"key":{"value":"value"}})");
}

TEST_F(SessionValuesLives, StayOverARestart) {
    life([&] {
        const Machine machine(documents.path());
        profile().putSessionStringData(StaticValues::PARAM_MAT_SOURCE(), "mail");
        profile().putSessionData(StaticValues::PARAM_MAT_MEDIUM(), nullptr);
        profile().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
    });
    life([&] {
        const Machine machine(documents.path());
        EXPECT_EQ(profile().getSessionStringData(StaticValues::PARAM_MAT_SOURCE()), Value("mail"));
        EXPECT_EQ(profile().getSessionStringData(StaticValues::PARAM_MAT_MEDIUM()), std::nullopt);
        EXPECT_TRUE(profile().isInstallReferrerSet());
    });
}

TEST_F(InstallReferrerTest, IsNotSetOnAFreshInstall) { EXPECT_FALSE(profile().isInstallReferrerSet()); }

TEST_F(InstallReferrerTest, IsSetByThePutThatEndsTheWait) {
    profile().setInstallReferrer();
    EXPECT_FALSE(profile().isInstallReferrerSet());
    profile().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
    EXPECT_TRUE(profile().isInstallReferrerSet());
}

TEST_F(InstallReferrerTest, StaysSetWhenItWasHandedOverBeforeItWasAwaited) {
    profile().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
    profile().setInstallReferrer();
    EXPECT_TRUE(profile().isInstallReferrerSet());
}

TEST_F(InstallReferrerTest, IsMarkedAsAwaitedInTheStore) {
    profile().setInstallReferrer();
    EXPECT_EQ(machine.readFile("BS_SESSION_MAP.Harvelstone"), R"({"install_referrer_set":{"value":false}})");
}

TEST_F(InstallReferrerTest, CanBeAwaitedAgain) {
    profile().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
    profile().putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), false);
    EXPECT_FALSE(profile().isInstallReferrerSet());
}

TEST_F(SendingTest, IsAllowedAtFirst) {
    EXPECT_TRUE(profile().shouldSend(/*respectsServerWait=*/true));
    EXPECT_TRUE(profile().shouldSend(/*respectsServerWait=*/false));
}

TEST_F(SendingTest, NeedsTheHostsConsent) {
    profile().setConsent(false);
    EXPECT_FALSE(profile().shouldSend(true));
    EXPECT_FALSE(profile().shouldSend(false));
    profile().setConsent(true);
    EXPECT_TRUE(profile().shouldSend(true));
}

TEST_F(SendingTest, StopsUntilTheServerAllowsItAgain) {
    EXPECT_FALSE(profile().updateResponse({{"send_allowed", false}}));
    EXPECT_FALSE(profile().shouldSend(true));
    profile().updateResponse({});
    EXPECT_FALSE(profile().shouldSend(true));
    profile().updateResponse({{"send_allowed", true}});
    EXPECT_TRUE(profile().shouldSend(true));
}

TEST_F(SendingTest, GoesOnWhenTheHostGrantsItsConsentAgain) {
    profile().updateResponse({{"send_allowed", false}});
    profile().setConsent(true);
    EXPECT_TRUE(profile().shouldSend(true));
}

TEST_F(SendingTest, WaitsAsLongAsTheServerAsks) {
    profile().updateResponse({{"wait_seconds", 60}});
    EXPECT_FALSE(profile().shouldSend(true));
    EXPECT_TRUE(profile().shouldSend(false));
    machine.clock->advance(59);
    EXPECT_FALSE(profile().shouldSend(true));
    machine.clock->advance(1);
    EXPECT_TRUE(profile().shouldSend(true));
}

TEST_F(SendingTest, DoesNotWaitLongerBecauseTheClockIsSetBack) {
    profile().updateResponse({{"wait_seconds", 60}});
    machine.clock->advance(-100'000);
    EXPECT_TRUE(profile().shouldSend(true));
}

TEST_F(SendingTest, IsRepeatedWhenTheReplyAsksForIt) {
    EXPECT_TRUE(profile().updateResponse({{"retry", true}}));
    EXPECT_FALSE(profile().updateResponse({{"retry", false}}));
    EXPECT_FALSE(profile().updateResponse({}));
    const Value others[] = {nullptr, "true", 1, List{true}, Dictionary()};
    for (const auto& other : others) EXPECT_FALSE(profile().updateResponse({{"retry", other}}));
}

TEST_F(SendingTest, TakesTheTrafficLimitFromTheReply) {
    auto& exceeded = Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded;
    profile().updateResponse({{"traffic_limit_exceeded", true}});
    EXPECT_TRUE(exceeded);
    profile().updateResponse({{"traffic_limit_exceeded", 0}});
    profile().updateResponse({});
    EXPECT_TRUE(exceeded);
    profile().updateResponse({{"traffic_limit_exceeded", false}});
    EXPECT_FALSE(exceeded);
}

TEST_F(SendingTest, AppliesEveryInstructionOfOneReply) {
    EXPECT_TRUE(profile().updateResponse(
        {{"retry", true}, {"traffic_limit_exceeded", true}, {"send_allowed", false}, {"wait_seconds", 5}}));
    EXPECT_TRUE(Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded);
    EXPECT_FALSE(profile().shouldSend(false));
    profile().setConsent(true);
    EXPECT_FALSE(profile().shouldSend(true));
    EXPECT_TRUE(profile().shouldSend(false));
}

TEST_F(SendingTest, WritesNothingWhenNothingChanges) {
    profile().updateResponse({});
    profile().updateResponse({{"send_allowed", true}, {"wait_seconds", 0}});
    profile().setConsent(true);
    EXPECT_THAT(machine.storedFiles(), ::testing::IsEmpty());
}

TEST_F(SessionValuesLives, KeepTheHostsWordOverARestart) {
    life([&] {
        const Machine machine(documents.path());
        profile().setConsent(false);
    });
    life([&] {
        const Machine machine(documents.path());
        EXPECT_FALSE(profile().shouldSend(true));
    });
}

TEST_F(SessionValuesLives, KeepTheServersStopAndWaitOverARestart) {
    life([&] {
        const Machine machine(documents.path());
        profile().updateResponse({{"wait_seconds", 60}, {"send_allowed", false}});
    });
    life([&] {
        const Machine machine(documents.path());
        EXPECT_FALSE(profile().shouldSend(false));
        profile().setConsent(true);
        machine.clock->advance(59);
        EXPECT_FALSE(profile().shouldSend(true));
        machine.clock->advance(1);
        EXPECT_TRUE(profile().shouldSend(true));
    });
}

}  // namespace
}  // namespace harvelstone::testing
