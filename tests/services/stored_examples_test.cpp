// The examples of docs/storage.md, read by the services that keep such files, and written by them again.

#include <fstream>
#include <optional>
#include <sstream>

#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/HarvelstonePostback.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StaticValues.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

std::string storagePage() {
    std::ostringstream page;
    page << std::ifstream(HARVELSTONE_SOURCE_DIR "/docs/storage.md").rdbuf();
    return page.str();
}

/// The example block of the chapter about the file, as one line.
std::string example(const std::string& fileName) {
    const auto page = storagePage();
    const std::string opening = "```json\n";
    const auto chapter = page.find("### `" + fileName + "`");
    const auto block = chapter == std::string::npos ? chapter : page.find(opening, chapter);
    if (block == std::string::npos) {
        ADD_FAILURE() << "no example of " << fileName;
        return {};
    }
    const auto begin = block + opening.size();
    return page.substr(begin, page.find("\n```", begin) - begin);
}

class StoredExamplesTest : public ServiceTest {
  protected:
    void layExample(const std::string& fileName) { machine.writeFile(fileName, example(fileName)); }
    void expectExampleAgain(const std::string& fileName) { EXPECT_EQ(machine.readFile(fileName), example(fileName)); }
};

TEST_F(StoredExamplesTest, OfTheConfigurationIsRead) {
    layExample("current_config_file.Harvelstone");
    const auto config = SessionManager::sharedInstance().getConfig();
    EXPECT_EQ(config->getAk(), Value("shop-demo"));
    EXPECT_EQ(config->getImei(), std::nullopt);
    EXPECT_EQ(config->getUuid(), Value("6F9619FF-8B86-4011-B42D-00CF4FC964FF"));
    EXPECT_EQ(config->getInstallTimeMillis(), Value(1'479'259'200'500));
    EXPECT_EQ(BSConfig::sharedInstance().getPrefValue("visit_new_server_time"), Value(1'479'259'201));
    EXPECT_EQ(BSConfig::sharedInstance().getMaxDataLifeTime(), 72.0);
}

TEST_F(StoredExamplesTest, OfTheConfigurationIsWrittenTheSame) {
    layExample("current_config_file.Harvelstone");
    SessionManager::sharedInstance().configure({{"ak", "shop-demo"}});
    expectExampleAgain("current_config_file.Harvelstone");
}

TEST_F(StoredExamplesTest, OfTheProfileIsRead) {
    layExample("current_profile_file.Harvelstone");
    const auto& profile = ProfileManager::sharedInstance();
    EXPECT_EQ(profile.getAdvId(), Value("38400000-8CF0-11BD-B23E-10B96E40000D"));
    EXPECT_TRUE(profile.getAdvIdFlag());
    EXPECT_EQ(profile.getUserId(), std::nullopt);
    EXPECT_EQ(profile.getLtrvni(), 3);
    EXPECT_TRUE(profile.isMarkRevenue());
    machine.clock->set(1'479'259'260.0);
    EXPECT_FALSE(profile.shouldSend(/*respectsServerWait=*/true));
    machine.clock->set(1'479'259'260.5);
    EXPECT_TRUE(profile.shouldSend(/*respectsServerWait=*/true));
}

TEST_F(StoredExamplesTest, OfTheProfileIsWhatTheServiceWrites) {
    auto& profile = ProfileManager::sharedInstance();
    machine.clock->set(1'479'259'200.5);
    profile.initOrderPTime();
    profile.updateResponse({{"wait_seconds", 60}});
    profile.setProfile({{"advId", "38400000-8CF0-11BD-B23E-10B96E40000D"}, {"advIdFlag", true}, {"userId", nullptr}});
    machine.clock->set(1'479'475'200.5);
    profile.markRevenue();
    expectExampleAgain("current_profile_file.Harvelstone");
}

TEST_F(StoredExamplesTest, OfTheSessionIsRead) {
    layExample("BS_SESSION.Harvelstone");
    machine.clock->set(1'479'259'260.5 + 1800);
    auto& sessions = SessionManager::sharedInstance();
    const auto id = sessions.getSession(0);
    EXPECT_EQ(id, "6F9619FF8B864011B42D00CF4FC964FF");
    EXPECT_EQ(sessions.getCsPV(id), 2);
    EXPECT_EQ(sessions.getSlotNo(id), 1);
    EXPECT_EQ(sessions.getVisitNew(id, /*isReadOnly=*/true), "N");
}

TEST_F(StoredExamplesTest, OfTheSessionIsWrittenTheSame) {
    layExample("BS_SESSION.Harvelstone");
    SessionManager::sharedInstance().updateLastSessionID("6F9619FF8B864011B42D00CF4FC964FF");
    expectExampleAgain("BS_SESSION.Harvelstone");
}

TEST_F(StoredExamplesTest, OfTheSessionValuesIsRead) {
    layExample("BS_SESSION_MAP.Harvelstone");
    const auto& profile = ProfileManager::sharedInstance();
    EXPECT_TRUE(profile.isInstallReferrerSet());
    EXPECT_EQ(profile.getSessionStringData(StaticValues::PARAM_MVT1()), std::nullopt);
    EXPECT_EQ(profile.getSessionStringData(StaticValues::PARAM_MAT_SOURCE()), Value("newsletter"));
    EXPECT_EQ(profile.getSessionStringListData(StaticValues::PARAM_MAT_SOURCE_TRACE()), (List{"newsletter", "search"}));
}

TEST_F(StoredExamplesTest, OfTheSessionValuesIsWhatTheServiceWrites) {
    auto& profile = ProfileManager::sharedInstance();
    profile.putSessionBoolData(StaticValues::IS_INSTALL_REFERRER_SET(), true);
    profile.putSessionData(StaticValues::PARAM_MVT1(), nullptr);
    profile.putSessionStringData(StaticValues::PARAM_MAT_SOURCE(), "newsletter");
    profile.putSessionData(StaticValues::PARAM_MAT_SOURCE_TRACE(), List{"newsletter", "search"});
    expectExampleAgain("BS_SESSION_MAP.Harvelstone");
}

TEST_F(StoredExamplesTest, OfThePostbackIsReadAndWhatTheServiceWrites) {
    layExample("postbackDB.Harvelstone");
    auto& postback = HarvelstonePostback::sharedInstance();
    EXPECT_EQ(postback.getPostbackJosn(), (Dictionary{{"partner", "P-17"}, {"referrer", "https://partner.example/"}}));
    postback.removePostbackReferrer();
    postback.setPostbackReferrer("https://partner.example/");
    expectExampleAgain("postbackDB.Harvelstone");
}

}  // namespace
}  // namespace harvelstone::testing
