// The member profile and the revenues.

#include <set>
#include <thread>
#include <vector>

#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SessionManager.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

constexpr double day = 24 * 60 * 60;

ProfileManager& profile() { return ProfileManager::sharedInstance(); }

/// Every getter's answer by the value's name; null for an absent one.
Dictionary answers() {
    const auto orNull = [](const std::optional<Value>& value) { return value ? *value : Value(nullptr); };
    return {{"advId", orNull(profile().getAdvId())},
            {"advIdFlag", profile().getAdvIdFlag()},
            {"mbr", orNull(profile().getMbr())},
            {"memberLvl", orNull(profile().getMemberLvl())},
            {"memberCd", orNull(profile().getMemberCd())},
            {"gender", orNull(profile().getGender())},
            {"age", orNull(profile().getAge())},
            {"uvp1", orNull(profile().getUvp1())},
            {"uvp2", orNull(profile().getUvp2())},
            {"uvp3", orNull(profile().getUvp3())},
            {"uvp4", orNull(profile().getUvp4())},
            {"uvp5", orNull(profile().getUvp5())},
            {"userId", orNull(profile().getUserId())},
            {"ltrvnc", profile().getLtrvnc()},
            {"ltrvni", profile().getLtrvni()},
            {"udRvnc", profile().getUdRvnc()}};
}

Dictionary profileWith(const Value& text, const Value& flag, std::int64_t firstNumber) {
    Dictionary values;
    for (const auto name : profileNames())
        values.emplace(name, text.string() ? Value(*text.string() + std::string(name)) : text);
    values["advIdFlag"] = flag;
    values["ltrvnc"] = firstNumber;
    values["ltrvni"] = firstNumber + 1;
    values["udRvnc"] = firstNumber + 2;
    return values;
}

Dictionary revenueCounts() {
    return {{"ltrvnc", profile().getLtrvnc()}, {"ltrvni", profile().getLtrvni()}, {"udRvnc", profile().getUdRvnc()}};
}

Dictionary counts(std::int64_t revenues, std::int64_t days, std::int64_t run) {
    return {{"ltrvnc", revenues}, {"ltrvni", days}, {"udRvnc", run}};
}

using ProfileManagerTest = ServiceTest;
using ProfileManagerLives = LivesTest;

TEST_F(ProfileManagerTest, IsOnePerProcess) { EXPECT_EQ(&profile(), &profile()); }

TEST_F(ProfileManagerTest, HasAValueForEveryNameOnAFreshInstall) {
    Dictionary expected;
    for (const auto name : profileNames()) expected.emplace(name, "");
    expected["advIdFlag"] = false;
    expected["ltrvnc"] = expected["ltrvni"] = expected["udRvnc"] = 0;
    EXPECT_EQ(answers(), expected);
    EXPECT_EQ(expected.size(), 16U);
}

TEST_F(ProfileManagerTest, GivesBackEveryValueAsItWasSet) {
    const auto values = profileWith("value of ", true, 7);
    profile().setProfile(values);
    EXPECT_EQ(answers(), values);
}

TEST_F(ProfileManagerTest, PassesNumbersThroughAsTheyAre) {
    profile().setProfile({{"age", 41}, {"memberLvl", 2.5}});
    EXPECT_EQ(profile().getAge(), Value(41));
    EXPECT_EQ(profile().getMemberLvl(), Value(2.5));
}

TEST_F(ProfileManagerTest, ReadsAClearedValueAsAbsent) {
    profile().setProfile(profileWith("value of ", true, 7));
    Dictionary cleared;
    for (const auto name : profileNames()) cleared.emplace(name, nullptr);
    profile().setProfile(cleared);
    auto expected = cleared;
    expected["advIdFlag"] = false;
    expected["ltrvnc"] = expected["ltrvni"] = expected["udRvnc"] = 0;
    EXPECT_EQ(answers(), expected);
}

TEST_F(ProfileManagerTest, KeepsWhatIsNotSetAgain) {
    profile().setProfile({{"mbr", "M"}});
    profile().setProfile({{"gender", "F"}});
    EXPECT_EQ(profile().getMbr(), Value("M"));
    EXPECT_EQ(profile().getGender(), Value("F"));
}

TEST_F(ProfileManagerTest, RefusesAWholeProfileForOneValue) {
    EXPECT_EQ(refusal([] { profile().setProfile({{"mbr", "M"}, {"name", "N"}}); }), "there is no setting \"name\"");
    EXPECT_EQ(refusal([] {
                  profile().setProfile({{"mbr", "M"}, {"ltrvnc", "1"}});
              }),
              "the setting \"ltrvnc\" must be a whole number");
    EXPECT_EQ(refusal([] { profile().setProfile({{"advIdFlag", 1}}); }), "the setting \"advIdFlag\" must be a boolean");
    EXPECT_EQ(refusal([] {
                  profile().setProfile({{"age", List()}});
              }),
              "the setting \"age\" must be a string or a number");
    EXPECT_EQ(profile().getMbr(), Value(""));
}

TEST_F(ProfileManagerTest, WritesNothingForNoValues) {
    profile().setProfile({});
    EXPECT_THAT(machine.storedFiles(), ::testing::IsEmpty());
}

TEST_F(ProfileManagerTest, ReadsADamagedValueAsNeverSet) {
    machine.writeFile(
        "current_profile_file.Harvelstone",
        R"({"mbr":"M","age":{"value":[1]},"ltrvnc":{"value":"x"},"advIdFlag":7,"revenue":{"marked":"x"}})");
    EXPECT_EQ(profile().getMbr(), Value(""));
    EXPECT_EQ(profile().getAge(), Value(""));
    EXPECT_EQ(profile().getLtrvnc(), 0);
    EXPECT_FALSE(profile().getAdvIdFlag());
    EXPECT_FALSE(profile().isMarkRevenue());
}

TEST_F(ProfileManagerTest, NeverTakesABooleanForANumberNorANumberForABoolean) {
    machine.writeFile("current_profile_file.Harvelstone",
                      R"({"ltrvnc":{"value":true},"advIdFlag":{"value":1},"revenue":{"marked":1}})");
    EXPECT_EQ(profile().getLtrvnc(), 0);
    EXPECT_FALSE(profile().getAdvIdFlag());
    EXPECT_FALSE(profile().isMarkRevenue());
}

TEST_F(ProfileManagerTest, MarksARevenueUntilItIsUnmarked) {
    EXPECT_FALSE(profile().isMarkRevenue());
    profile().markRevenue();
    EXPECT_TRUE(profile().isMarkRevenue());
    profile().unMarkRevenue();
    EXPECT_FALSE(profile().isMarkRevenue());
}

TEST_F(ProfileManagerTest, WritesNothingWhenThereIsNoMarkToClear) {
    profile().unMarkRevenue();
    EXPECT_THAT(machine.storedFiles(), ::testing::IsEmpty());
}

TEST_F(ProfileManagerTest, CountsTheFirstRevenueFromTheFirstVisit) {
    profile().initOrderPTime();
    machine.clock->advance(2.5 * day);
    profile().markRevenue();
    EXPECT_EQ(revenueCounts(), counts(1, 3, 1));
}

TEST_F(ProfileManagerTest, CountsARevenueWithoutAFirstVisit) {
    profile().markRevenue();
    EXPECT_EQ(revenueCounts(), counts(1, 0, 1));
}

TEST_F(ProfileManagerTest, CountsRevenuesWithinTheReturnVisitLimitAsARun) {
    SessionManager::sharedInstance().configure({{"returnVisitDate", 3}});
    profile().initOrderPTime();
    profile().markRevenue();
    machine.clock->advance(2 * day);
    profile().markRevenue();
    EXPECT_EQ(revenueCounts(), counts(2, 2, 2));
    machine.clock->advance(3 * day);
    profile().markRevenue();
    EXPECT_EQ(revenueCounts(), counts(3, 5, 1));
}

TEST_F(ProfileManagerTest, CountsNoRunWithoutAReturnVisitLimit) {
    SessionManager::sharedInstance().configure({{"returnVisitDate", 0}});
    profile().markRevenue();
    EXPECT_EQ(revenueCounts(), counts(1, 0, 0));
}

TEST_F(ProfileManagerTest, KeepsWhatTheHostSetWhenTheOrderTimeBegins) {
    profile().setProfile({{"ltrvnc", 7}});
    profile().markRevenue();
    profile().initOrderPTime();
    EXPECT_EQ(profile().getLtrvnc(), 8);
    EXPECT_TRUE(profile().isMarkRevenue());
}

TEST_F(ProfileManagerTest, LosesNoRevenueToAnotherThread) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int revenue = 0; revenue < 10; ++revenue) profile().markRevenue();
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(profile().getLtrvnc(), 40);
}

TEST_F(ProfileManagerLives, KeepsProfileAndRevenuesOverARestart) {
    const auto values = profileWith("value of ", true, 7);
    life([&] {
        const Machine machine(documents.path());
        profile().setProfile(values);
        profile().setProfile({{"userId", nullptr}});
        profile().markRevenue();
    });
    life([&] {
        const Machine machine(documents.path());
        auto expected = values;
        expected["userId"] = nullptr;
        expected["ltrvnc"] = 8;
        expected["udRvnc"] = 1;
        EXPECT_EQ(answers(), expected);
        EXPECT_TRUE(profile().isMarkRevenue());
    });
}

}  // namespace
}  // namespace harvelstone::testing
