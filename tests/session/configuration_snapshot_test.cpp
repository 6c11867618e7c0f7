#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/StorageBatch.hpp"

#include "tests/session/SessionTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

struct Missing {
    const char* setting;
    const std::string& (*key)();
};

class ConfigurationSnapshot : public SessionTest {
  protected:
    static void configure(const Dictionary& settings) { SessionManager::sharedInstance().configure(settings); }
    void expectRefusedThenSet(const Missing& one) {
        EXPECT_THAT(refusal([&] { manager().getSessionConfigJson(); }), HasSubstr("\"" + one.key() + "\""));
        configure({{one.setting, "x"}});
    }
};

TEST_F(ConfigurationSnapshot, LogsOneLine) {
    manager().getSessionConfigJson();

    EXPECT_THAT(machine.log->lines(), ElementsAre("DEBUG_HARVELSTONE_CONFIG : getSessionConfigJson called. "));
}

TEST_F(ConfigurationSnapshot, HoldsWhatIsConfigured) {
    configure({{"debug", true},
               {"ak", "key-1"},
               {"pfno", 7},
               {"uuid", "U-1"},
               {"venId", "V-1"},
               {"installDate", "2016-11-01"},
               {"installTimeMillis", 1'477'958'400'000},
               {"apVr", "3.2.1"},
               {"os", "TestOS 2"},
               {"telCom", "Carrier"},
               {"wifiTp", "cellular"},
               {"sr", "100x200"},
               {"cntr", "SE"},
               {"lng", "sv"},
               {"machine", "m68k"},
               {"tz", "+01:00"}});
    ProfileManager::sharedInstance().setProfile({{"advId", "A-1"}, {"advIdFlag", true}});

    EXPECT_EQ(manager().getSessionConfigJson(),
              (Dictionary{{StaticValues::PARAM_DEBUG(), true},
                          {StaticValues::PARAM_AK(), "key-1"},
                          {StaticValues::PARAM_PFNO(), 7},
                          {StaticValues::PARAM_UUID(), "U-1"},
                          {StaticValues::PARAM_ADVID(), "A-1"},
                          {StaticValues::PARAM_ADVID_FLAG(), true},
                          {StaticValues::PARAM_VENID(), "V-1"},
                          {StaticValues::PARAM_INSTALL_DATE(), "2016-11-01"},
                          {StaticValues::PARAM_INSTALL_TIMEMILLIS(), 1'477'958'400'000},
                          {StaticValues::PARAM_AP_VR(), "3.2.1"},
                          {StaticValues::PARAM_OS(), "TestOS 2"},
                          {StaticValues::PARAM_TEL_COM(), "Carrier"},
                          {StaticValues::PARAM_WIFI_TP(), "cellular"},
                          {StaticValues::PARAM_SR(), "100x200"},
                          {StaticValues::PARAM_CNTR(), "SE"},
                          {StaticValues::PARAM_LNG(), "sv"},
                          {StaticValues::PARAM_MACHINE(), "m68k"},
                          {StaticValues::PARAM_TZ(), "+01:00"}}));
}

TEST_F(ConfigurationSnapshot, HoldsTheImeiOnlyWhenItMayBeUsed) {
    configure({{"imei", "490154203237518"}});
    EXPECT_THAT(manager().getSessionConfigJson(), SizeIs(18));
    EXPECT_FALSE(manager().getSessionConfigJson().contains(StaticValues::PARAM_IMEI()));

    HarvelstoneCore::setFlagUseImei(true);
    EXPECT_THAT(manager().getSessionConfigJson(), SizeIs(19));
    EXPECT_EQ(manager().getSessionConfigJson().at(StaticValues::PARAM_IMEI()), Value("490154203237518"));
}

TEST_F(ConfigurationSnapshot, WithoutTheFlagAMissingImeiIsNoTrouble) {
    configure({{"imei", nullptr}});
    EXPECT_NO_THROW(manager().getSessionConfigJson());

    HarvelstoneCore::setFlagUseImei(true);
    EXPECT_THAT(refusal([&] { manager().getSessionConfigJson(); }), HasSubstr(StaticValues::PARAM_IMEI()));
}

TEST_F(ConfigurationSnapshot, ADeviceWithoutACarrierHasTheEmptyText) {
    configure({{"telCom", nullptr}});

    EXPECT_EQ(manager().getSessionConfigJson().at(StaticValues::PARAM_TEL_COM()), Value(""));
}

TEST_F(DocumentTest, TheSnapshotAsksForTheConfigurationAfreshForEachKey) {
    // The profile cannot be read, so each of its values looks for the file again: the advertising id between the two.
    const auto files = recordFiles();
    Dictionary settingsToCome;
    files->mayOpen = [&](const std::string& path) {
        const bool isProfile = path == storedFilePath("current_profile_file");
        if (isProfile) SessionManager::sharedInstance().configure(std::exchange(settingsToCome, {}));
        return !isProfile;
    };
    SessionManager::sharedInstance().configure({{"uuid", "before"}, {"venId", "before"}});
    manager();
    settingsToCome = {{"uuid", "behind"}, {"venId", "behind"}};
    const StorageBatch creation;  // to its end nothing is written, so the profile is not tried while it is being read
    const auto snapshot = manager().getSessionConfigJson();

    EXPECT_EQ(snapshot.at(StaticValues::PARAM_UUID()), Value("before"));
    EXPECT_EQ(snapshot.at(StaticValues::PARAM_VENID()), Value("behind"));
}

TEST_F(ConfigurationSnapshot, FlagsAreBooleansAndThePlatformNumberIsAnInteger) {
    const auto snapshot = manager().getSessionConfigJson();

    EXPECT_TRUE(snapshot.at(StaticValues::PARAM_DEBUG()).isBoolean());
    EXPECT_TRUE(snapshot.at(StaticValues::PARAM_ADVID_FLAG()).isBoolean());
    EXPECT_TRUE(snapshot.at(StaticValues::PARAM_PFNO()).isInteger());
}

TEST_F(ConfigurationSnapshot, EachCallGivesADictionaryOfItsOwn) {
    auto first = manager().getSessionConfigJson();
    const auto second = manager().getSessionConfigJson();
    first[StaticValues::PARAM_AK()] = "changed";

    EXPECT_NE(first, second);
    EXPECT_EQ(manager().getSessionConfigJson(), second);
}

TEST_F(ConfigurationSnapshot, LeavesTheVisitsOwnKeysToLaterSteps) {
    const auto snapshot = manager().getSessionConfigJson();

    EXPECT_FALSE(snapshot.contains(StaticValues::PARAM_VS()));
    EXPECT_FALSE(snapshot.contains(StaticValues::PARAM_CS_P_V()));
    EXPECT_FALSE(snapshot.contains(StaticValues::PARAM_SID()));
}

TEST_F(ConfigurationSnapshot, EveryMissingSettingIsRefusedByItsKey) {
    constexpr Missing settings[] = {{"ak", &StaticValues::PARAM_AK},
                                    {"uuid", &StaticValues::PARAM_UUID},
                                    {"venId", &StaticValues::PARAM_VENID},
                                    {"installDate", &StaticValues::PARAM_INSTALL_DATE},
                                    {"installTimeMillis", &StaticValues::PARAM_INSTALL_TIMEMILLIS},
                                    {"apVr", &StaticValues::PARAM_AP_VR},
                                    {"os", &StaticValues::PARAM_OS},
                                    {"wifiTp", &StaticValues::PARAM_WIFI_TP},
                                    {"sr", &StaticValues::PARAM_SR},
                                    {"cntr", &StaticValues::PARAM_CNTR},
                                    {"lng", &StaticValues::PARAM_LNG},
                                    {"machine", &StaticValues::PARAM_MACHINE},
                                    {"tz", &StaticValues::PARAM_TZ}};
    for (const auto& one : settings) {
        SCOPED_TRACE(one.setting);
        configure({{one.setting, nullptr}});
        expectRefusedThenSet(one);
    }
}

TEST_F(ConfigurationSnapshot, TheFirstMissingValueInTheOrderOfTheKeysIsRefused) {
    constexpr Missing before[] = {
        {"ak", &StaticValues::PARAM_AK}, {"uuid", &StaticValues::PARAM_UUID}, {"imei", &StaticValues::PARAM_IMEI}};
    constexpr Missing behind[] = {{"venId", &StaticValues::PARAM_VENID},
                                  {"installDate", &StaticValues::PARAM_INSTALL_DATE},
                                  {"installTimeMillis", &StaticValues::PARAM_INSTALL_TIMEMILLIS},
                                  {"apVr", &StaticValues::PARAM_AP_VR},
                                  {"os", &StaticValues::PARAM_OS},
                                  {"wifiTp", &StaticValues::PARAM_WIFI_TP},
                                  {"sr", &StaticValues::PARAM_SR},
                                  {"cntr", &StaticValues::PARAM_CNTR},
                                  {"lng", &StaticValues::PARAM_LNG},
                                  {"machine", &StaticValues::PARAM_MACHINE},
                                  {"tz", &StaticValues::PARAM_TZ}};
    HarvelstoneCore::setFlagUseImei(true);
    for (const auto& one : before) configure({{one.setting, nullptr}});
    for (const auto& one : behind) configure({{one.setting, nullptr}});
    ProfileManager::sharedInstance().setProfile({{"advId", nullptr}});

    for (const auto& one : before) expectRefusedThenSet(one);
    EXPECT_THAT(refusal([&] { manager().getSessionConfigJson(); }),
                HasSubstr("\"" + StaticValues::PARAM_ADVID() + "\""));
    ProfileManager::sharedInstance().setProfile({{"advId", "x"}});
    for (const auto& one : behind) expectRefusedThenSet(one);
    EXPECT_THAT(manager().getSessionConfigJson(), SizeIs(19));
}

TEST_F(ConfigurationSnapshot, AMissingAdvertisingIdIsRefusedByItsKey) {
    ProfileManager::sharedInstance().setProfile({{"advId", nullptr}});

    EXPECT_THAT(refusal([&] { manager().getSessionConfigJson(); }), HasSubstr(StaticValues::PARAM_ADVID()));
}

}  // namespace
}  // namespace harvelstone::testing
