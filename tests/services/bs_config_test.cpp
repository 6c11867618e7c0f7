#include <limits>
#include <thread>
#include <vector>

#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/SessionManager.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

BSConfig& config() { return BSConfig::sharedInstance(); }

using BSConfigTest = ServiceTest;
using BSConfigLives = LivesTest;

TEST_F(BSConfigTest, IsOnePerProcess) { EXPECT_EQ(&config(), &config()); }

TEST_F(BSConfigTest, LetsADocumentWaitForThreeDaysUnlessSet) { EXPECT_EQ(config().getMaxDataLifeTime(), 72.0); }

TEST_F(BSConfigTest, TakesAnyLifeTimeFromZero) {
    for (const double hours : {0.0, 0.5, 1000.0}) {
        config().setMaxDataLifeTime(hours);
        EXPECT_EQ(config().getMaxDataLifeTime(), hours);
    }
}

TEST_F(BSConfigTest, RefusesALifeTimeThatIsNone) {
    EXPECT_EQ(refusal([] { config().setMaxDataLifeTime(-1.5); }), "-1.5 hours is no life time of data");
    EXPECT_EQ(refusal([] { config().setMaxDataLifeTime(std::numeric_limits<double>::quiet_NaN()); }),
              "nan hours is no life time of data");
    EXPECT_EQ(refusal([] { config().setMaxDataLifeTime(std::numeric_limits<double>::infinity()); }),
              "inf hours is no life time of data");
    EXPECT_EQ(config().getMaxDataLifeTime(), 72.0);
}

TEST_F(BSConfigTest, HasNoPreferenceThatWasNotPut) { EXPECT_EQ(config().getPrefValue("key"), std::nullopt); }

TEST_F(BSConfigTest, GivesBackPreferencesOfEveryKind) {
    const Value values[] = {"text", "", 7, 42.0, true, false, List{1, "two"}, Dictionary{{"a", 1}}};
    for (const auto& value : values) {
        config().putPref("key", value);
        EXPECT_EQ(config().getPrefValue("key"), value);
    }
}

TEST_F(BSConfigTest, KeepsPreferencesApart) {
    config().putPref("one", 1);
    config().putPref("two", 2);
    config().putPref("one", 3);
    EXPECT_EQ(config().getPrefValue("one"), Value(3));
    EXPECT_EQ(config().getPrefValue("two"), Value(2));
}

TEST_F(BSConfigTest, RefusesANullPreference) {
    config().putPref("key", 1);
    EXPECT_EQ(refusal([] { config().putPref("key", nullptr); }), "no value for key \"key\"");
    EXPECT_EQ(config().getPrefValue("key"), Value(1));
}

TEST_F(BSConfigTest, SharesItsFileWithTheConfigurationWithoutHarm) {
    config().putPref("configuration", "mine");
    config().setMaxDataLifeTime(5);
    SessionManager::sharedInstance().configure({{"ak", "KEY"}});
    EXPECT_EQ(config().getPrefValue("configuration"), Value("mine"));
    EXPECT_EQ(config().getMaxDataLifeTime(), 5.0);
    EXPECT_EQ(SessionManager::sharedInstance().getConfig()->getAk(), Value("KEY"));
    EXPECT_THAT(machine.storedFiles(), ::testing::ElementsAre("current_config_file.Harvelstone"));
}

TEST_F(BSConfigTest, ReadsADamagedValueAsAbsent) {
    machine.writeFile("current_config_file.Harvelstone", R"({"max_data_life_hours":"long","preferences":[1]})");
    EXPECT_EQ(config().getMaxDataLifeTime(), 72.0);
    EXPECT_EQ(config().getPrefValue("key"), std::nullopt);
    config().putPref("key", 1);
    EXPECT_EQ(config().getPrefValue("key"), Value(1));
}

TEST_F(BSConfigTest, LosesNoPreferenceToAnotherThread) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([thread] {
            for (int i = 0; i < 10; ++i) config().putPref(std::to_string(thread * 10 + i), i);
        });
    for (auto& thread : threads) thread.join();
    for (int i = 0; i < 40; ++i) EXPECT_EQ(config().getPrefValue(std::to_string(i)), Value(i % 10));
}

TEST_F(BSConfigLives, KeepsWhatWasPutOverARestart) {
    life([&] {
        const Machine machine(documents.path());
        config().putPref("key", 42.0);
        config().setMaxDataLifeTime(1);
    });
    life([&] {
        const Machine machine(documents.path());
        EXPECT_EQ(config().getPrefValue("key"), Value(42.0));
        EXPECT_EQ(config().getMaxDataLifeTime(), 1.0);
    });
}

TEST_F(BSConfigLives, KeepsAPreferenceOnceThePutReturned) {
    lifeUntilKilled([&] {
        const Machine machine(documents.path());
        config().putPref("key", "value");
        dieHere();
    });
    life([&] {
        const Machine machine(documents.path());
        EXPECT_EQ(config().getPrefValue("key"), Value("value"));
    });
}

}  // namespace
}  // namespace harvelstone::testing
