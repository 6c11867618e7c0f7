#include "harvelstone/services/Configuration.hpp"

#include <set>

#include "harvelstone/services/SessionManager.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

std::shared_ptr<const Configuration> config() { return SessionManager::sharedInstance().getConfig(); }

void configure(const Dictionary& settings) { SessionManager::sharedInstance().configure(settings); }

/// Every getter's answer by the setting's name; null for an absent one.
Dictionary answers(const Configuration& configuration) {
    const auto orNull = [](const std::optional<Value>& value) { return value ? *value : Value(nullptr); };
    return {{"targetUri", orNull(configuration.getTargetUri())},
            {"apVr", orNull(configuration.getApVr())},
            {"debug", configuration.getDebug()},
            {"ak", orNull(configuration.getAk())},
            {"pfno", configuration.getPfno()},
            {"uuid", orNull(configuration.getUuid())},
            {"imei", orNull(configuration.getImei())},
            {"venId", orNull(configuration.getVenId())},
            {"installDate", orNull(configuration.getInstallDate())},
            {"installTimeMillis", orNull(configuration.getInstallTimeMillis())},
            {"os", orNull(configuration.getOs())},
            {"telCom", orNull(configuration.getTelCom())},
            {"wifiTp", orNull(configuration.getWifiTp())},
            {"sr", orNull(configuration.getSr())},
            {"cntr", orNull(configuration.getCntr())},
            {"lng", orNull(configuration.getLng())},
            {"machine", orNull(configuration.getMachine())},
            {"tz", orNull(configuration.getTz())},
            {"returnVisitDate", configuration.getReturnVisitDate()}};
}

/// A value of the right kind for every setting, each another.
Dictionary settingsOfEveryName() {
    Dictionary settings;
    std::int64_t number = 100;
    for (const auto name : configurationNames()) settings.emplace(name, "value of " + std::string(name));
    settings["debug"] = true;
    settings["pfno"] = ++number;
    settings["returnVisitDate"] = ++number;
    settings["installTimeMillis"] = ++number;
    return settings;
}

class ConfigurationTest : public ServiceTest {
  protected:
    ConfigurationTest() { setTimeZone("Asia/Kolkata"); }
};

using ConfigurationLives = LivesTest;

TEST_F(ConfigurationTest, HasAValueForEverySettingButTheCarrierOnAFreshInstall) {
    EXPECT_EQ(answers(*config()), (Dictionary{{"targetUri", ""},
                                              {"apVr", ""},
                                              {"debug", false},
                                              {"ak", ""},
                                              {"pfno", 0},
                                              {"uuid", "00000001-0000-4000-8000-000000000000"},
                                              {"imei", ""},
                                              {"venId", "00000002-0000-4000-8000-000000000000"},
                                              {"installDate", "2016-11-16T06:50:00+05:30"},
                                              {"installTimeMillis", 1'479'259'200'500},
                                              {"os", "TestOS 1.0"},
                                              {"telCom", nullptr},
                                              {"wifiTp", "wifi"},
                                              {"sr", ""},
                                              {"cntr", "GB"},
                                              {"lng", "en"},
                                              {"machine", "x86_64"},
                                              {"tz", "+05:30"},
                                              {"returnVisitDate", 30}}));
}

TEST_F(ConfigurationTest, NamesASettingForEveryGetter) {
    std::set<std::string, std::less<>> names;
    for (const auto name : configurationNames()) names.emplace(name);
    std::set<std::string, std::less<>> expected;
    for (const auto& [name, value] : answers(*config())) expected.insert(name);
    EXPECT_EQ(names, expected);
}

TEST_F(ConfigurationTest, GivesBackEverySettingAsItWasConfigured) {
    const auto settings = settingsOfEveryName();
    configure(settings);
    EXPECT_EQ(answers(*config()), settings);
}

TEST_F(ConfigurationTest, ReadsAClearedSettingAsAbsent) {
    Dictionary cleared;
    for (const auto name : configurationNames()) cleared.emplace(name, nullptr);
    configure(cleared);
    auto expected = cleared;
    expected["debug"] = false;
    expected["pfno"] = 0;
    expected["returnVisitDate"] = 0;
    EXPECT_EQ(answers(*config()), expected);
}

TEST_F(ConfigurationTest, TakesAValueAfterItWasCleared) {
    configure({{"apVr", nullptr}});
    configure({{"apVr", "3.2.0"}});
    EXPECT_EQ(config()->getApVr(), Value("3.2.0"));
}

TEST_F(ConfigurationTest, KeepsWhatIsNotConfiguredAgain) {
    configure({{"ak", "KEY"}, {"apVr", "1"}});
    configure({{"apVr", 2}});
    EXPECT_EQ(config()->getAk(), Value("KEY"));
    EXPECT_EQ(config()->getApVr(), Value(2));
}

TEST_F(ConfigurationTest, RefusesAnUnknownName) {
    EXPECT_EQ(refusal([] { configure({{"ak", "KEY"}, {"appKey", "KEY"}}); }), "there is no setting \"appKey\"");
    EXPECT_EQ(config()->getAk(), Value(""));
}

TEST_F(ConfigurationTest, RefusesAValueOfAnotherKind) {
    EXPECT_EQ(refusal([] { configure({{"debug", 1}}); }), "the setting \"debug\" must be a boolean");
    EXPECT_EQ(refusal([] { configure({{"pfno", 1.0}}); }), "the setting \"pfno\" must be a whole number");
    EXPECT_EQ(refusal([] {
                  configure({{"returnVisitDate", "3"}});
              }),
              "the setting \"returnVisitDate\" must be a whole number");
    EXPECT_EQ(refusal([] { configure({{"ak", true}}); }), "the setting \"ak\" must be a string or a number");
    EXPECT_EQ(refusal([] { configure({{"os", List()}}); }), "the setting \"os\" must be a string or a number");
}

TEST_F(ConfigurationTest, ChangesNothingWhenOneSettingIsRefused) {
    EXPECT_EQ(refusal([] {
                  configure({{"ak", "KEY"}, {"pfno", "1"}});
              }),
              "the setting \"pfno\" must be a whole number");
    EXPECT_EQ(config()->getAk(), Value(""));
}

TEST_F(ConfigurationTest, WritesNothingForNoSettings) {
    configure({});
    EXPECT_THAT(machine.storedFiles(), ::testing::IsEmpty());
}

TEST_F(ConfigurationTest, GivesTheSamePictureUntilSomethingChanges) {
    const auto before = config();
    EXPECT_EQ(config(), before);
    configure({{"ak", "KEY"}});
    EXPECT_NE(config(), before);
    EXPECT_EQ(before->getAk(), Value(""));
}

TEST_F(ConfigurationTest, LooksAtTheDeviceAgainWhenASessionBegins) {
    SessionManager::sharedInstance().getSession(0);
    EXPECT_EQ(config()->getTz(), Value("+05:30"));
    setTimeZone("UTC");
    EXPECT_EQ(config()->getTz(), Value("+05:30"));
    SessionManager::sharedInstance().endVisit();
    SessionManager::sharedInstance().getSession(0);
    EXPECT_EQ(config()->getTz(), Value("+00:00"));
}

TEST_F(ConfigurationTest, ReadsAStoredValueOfAnotherKindAsNeverSet) {
    machine.writeFile("current_config_file.Harvelstone",
                      R"({"configuration":{"ak":[],"uuid":{},"pfno":"7","debug":1,"returnVisitDate":2.5}})");
    EXPECT_EQ(config()->getAk(), Value(""));
    EXPECT_EQ(config()->getUuid(), Value("00000001-0000-4000-8000-000000000000"));
    EXPECT_EQ(config()->getPfno(), 0);
    EXPECT_FALSE(config()->getDebug());
    EXPECT_EQ(config()->getReturnVisitDate(), 30);
}

TEST_F(ConfigurationTest, StartsAfreshFromADamagedFile) {
    machine.writeFile("current_config_file.Harvelstone", "{\"configuration\":");
    EXPECT_EQ(config()->getUuid(), Value("00000001-0000-4000-8000-000000000000"));
}

TEST_F(ConfigurationTest, SwitchesTheDebugLog) {
    configure({{"debug", false}});
    EXPECT_FALSE(BSDebugger::isEnabled());
    configure({{"debug", true}});
    EXPECT_TRUE(BSDebugger::isEnabled());
    configure({{"debug", nullptr}});
    EXPECT_FALSE(BSDebugger::isEnabled());
}

TEST_F(ConfigurationTest, LeavesTheDebugLogAloneUnlessItIsConfigured) {
    configure({{"ak", "KEY"}});
    EXPECT_TRUE(BSDebugger::isEnabled());
    EXPECT_FALSE(config()->getDebug());
}

TEST(Configuration, AnswersOfNothingAreAbsent) {
    const Configuration none{Dictionary()};
    EXPECT_EQ(none.getTargetUri(), std::nullopt);
    EXPECT_FALSE(none.getDebug());
    EXPECT_EQ(none.getPfno(), 0);
    EXPECT_EQ(none.getReturnVisitDate(), 0);
}

TEST_F(ConfigurationLives, KeepsWhatTheInstallMade) {
    life([&] {
        const Machine machine(documents.path());
        config();
    });
    life([&] {
        const Machine machine(documents.path());
        machine.clock->advance(100'000);
        machine.device->uuidText();
        EXPECT_EQ(config()->getUuid(), Value("00000001-0000-4000-8000-000000000000"));
        EXPECT_EQ(config()->getVenId(), Value("00000002-0000-4000-8000-000000000000"));
        EXPECT_EQ(config()->getInstallTimeMillis(), Value(1'479'259'200'500));
    });
}

TEST_F(ConfigurationLives, KeepsSettingsAndClearedOnes) {
    const auto settings = settingsOfEveryName();
    life([&] {
        const Machine machine(documents.path());
        configure(settings);
        configure({{"imei", nullptr}});
    });
    life([&] {
        const Machine machine(documents.path());
        auto expected = settings;
        expected["imei"] = nullptr;
        EXPECT_EQ(answers(*config()), expected);
    });
}

TEST_F(ConfigurationLives, SwitchesTheDebugLogOnAtTheNextStart) {
    life([&] {
        const Machine machine(documents.path());
        configure({{"debug", true}});
    });
    life([&] {
        const TestPlatform machine(documents.path());
        EXPECT_FALSE(BSDebugger::isEnabled());
        SessionManager::sharedInstance();
        EXPECT_TRUE(BSDebugger::isEnabled());
    });
}

TEST_F(ConfigurationLives, LeavesADebugLogOnThatTheHostSwitchedOn) {
    life([&] {
        const Machine machine(documents.path());
        configure({{"debug", false}});
    });
    life([&] {
        const Machine machine(documents.path());
        config();
        EXPECT_TRUE(BSDebugger::isEnabled());
    });
}

}  // namespace
}  // namespace harvelstone::testing
