// What goes into a document when it is first sent, and what is added at each attempt.

#include <algorithm>

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Assembly : public SendingTest {
  protected:
    static Dictionary stamped(Dictionary record) {
        record[StaticValues::PARAM_AP_VR()] = "3.1";
        record[StaticValues::PARAM_SDK_VERSION()] = "21.2.54";
        return record;
    }
    List uploadedRecords(const TypeConstant& type) const { return *uploaded().at(type.typeValue()).list(); }
    Dictionary uploadedSection(const TypeConstant& type) const { return *uploaded().at(type.typeValue()).dictionary(); }
    static void setCustomPush(std::optional<Dictionary> data) {
        Tracker::sharedInstance().setCustomPushMapData(std::move(data));
    }
    static Dictionary shortPage(const std::string& date) {
        return {{StaticValues::PARAM_VT_TZ(), date}, {StaticValues::PARAM_VS(), 10}, {StaticValues::PARAM_CS_P_V(), 1}};
    }
};

TEST_F(Assembly, EachQueueFillsItsSectionWithStampedRecords) {
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"g3", 50}});
    queue(StaticValues::CLICK_FILE_PREFIX(), {{"button", "buy"}});
    queue(StaticValues::REVENUE_FILE_PREFIX(), {{"amount", 12.5}});
    queue(StaticValues::PUSH_FILE_PREFIX(), {{"message", "m-1"}});
    send();

    EXPECT_THAT(uploadedRecords(TrackType::TYPE_GOAL()), ElementsAre(Value(stamped({{"g3", 50}}))));
    EXPECT_THAT(uploadedRecords(TrackType::TYPE_CLICK()), ElementsAre(Value(stamped({{"button", "buy"}}))));
    EXPECT_THAT(uploadedRecords(TrackType::TYPE_REVENUE()), ElementsAre(Value(stamped({{"amount", 12.5}}))));
    EXPECT_THAT(uploadedRecords(TrackType::TYPE_PAGES()), IsEmpty());
    EXPECT_EQ(uploadedSection(TrackType::TYPE_PUSH()), stamped({{"message", "m-1"}}));
    EXPECT_EQ(uploaded().at(StaticValues::RETRY_COUNT()), Value(1));
    EXPECT_EQ(uploadedSection(TrackType::TYPE_SESSION()).at(StaticValues::PARAM_SDK_VERSION()), Value("21.2.54"));
}

TEST_F(Assembly, TheQueuesAreTakenInTheirOrder) {
    std::vector<std::string> paths;
    for (const auto* prefix : {"goal_", "pages_", "click_", "revenue_", "push_"}) {
        paths.push_back(storedFilePath(prefix + headId()));
        queue(prefix, {{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}, {"e", 5}});
    }
    const auto files = recordFiles();
    send();

    std::erase_if(files->opened, [&](const auto& path) { return std::ranges::count(paths, path) == 0; });
    files->opened.erase(std::unique(files->opened.begin(), files->opened.end()), files->opened.end());
    EXPECT_THAT(files->opened, ElementsAreArray(paths));
}

TEST_F(Assembly, WithoutAnAppVersionTheDocumentGoesOutUnstamped) {
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"g3", 50}});
    SessionManager::sharedInstance().configure({{"apVr", nullptr}});
    send();

    EXPECT_THAT(uploadedRecords(TrackType::TYPE_GOAL()), ElementsAre(Value(Dictionary{{"g3", 50}})));
}

TEST_F(Assembly, PagesAreMergedOnTheWay) {
    queue(StaticValues::PAGES_FILE_PREFIX(), shortPage("t1"));
    queue(StaticValues::PAGES_FILE_PREFIX(), shortPage("t2"));
    send();

    auto summary = shortPage("t2");
    summary[StaticValues::PARAM_VS()] = 20;
    summary[StaticValues::PARAM_CS_P_V()] = 2;
    EXPECT_THAT(uploadedRecords(TrackType::TYPE_PAGES()), ElementsAre(Value(stamped(summary))));
}

TEST_F(Assembly, PagesThatCannotBeMergedCostNoGoal) {
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"goal", 1}});
    queue(StaticValues::PAGES_FILE_PREFIX(), {{"undated", 1}});
    send();
    EXPECT_EQ(sentCount(), 0U);
    EXPECT_EQ(attempts(headId()), std::nullopt);
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"goal", 2}});

    send();

    const auto goals = *findValue(uploaded(), TrackType::TYPE_GOAL().typeValue())->list();
    ASSERT_EQ(goals.size(), 2U);
    EXPECT_EQ(findValue(*goals[0].dictionary(), "goal"), Value(1));
    EXPECT_EQ(findValue(*goals[1].dictionary(), "goal"), Value(2));
}

TEST_F(Assembly, OfThePushQueueOnlyTheFirstRecordCounts) {
    queue(StaticValues::PUSH_FILE_PREFIX(), {{"message", "m-1"}});
    queue(StaticValues::PUSH_FILE_PREFIX(), {{"message", "m-2"}});
    send();

    EXPECT_EQ(uploadedSection(TrackType::TYPE_PUSH()), stamped({{"message", "m-1"}}));
    EXPECT_THAT(manager().getQueue(StaticValues::PUSH_FILE_PREFIX(), headId()), IsEmpty());
}

TEST_F(Assembly, WithoutAPushThereIsNoPushSection) {
    send();
    EXPECT_FALSE(uploaded().contains(TrackType::TYPE_PUSH().typeValue()));
}

TEST_F(Assembly, EventsAndCampaignsStayInTheirQueues) {
    manager().setEvent("t", "n", "v");
    manager().setCampaign("t", "n", "v", "r");
    const auto id = headId();
    send();

    EXPECT_THAT(uploaded(), SizeIs(7));
    EXPECT_THAT(manager().getQueue(StaticValues::EVENT_FILE_PREFIX(), id), SizeIs(1));
    EXPECT_THAT(manager().getQueue(StaticValues::CAMPAIGN_FILE_PREFIX(), id), SizeIs(1));
}

TEST_F(Assembly, ARepeatSendsTheSectionsOfTheFirstAttempt) {
    areRecordsOnlyOurs = false;  // it looks into the queue
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"g3", 50}});
    send();
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"g4", 60}});
    send();

    EXPECT_THAT(uploadedRecords(TrackType::TYPE_GOAL()), ElementsAre(Value(stamped({{"g3", 50}}))));
    EXPECT_THAT(manager().getQueue(StaticValues::GOAL_FILE_PREFIX(), headId()), SizeIs(1));
}

// ---- The server's time ----

TEST_F(Assembly, AContinuedVisitCarriesTheServersTime) {
    makeHeadContinued();
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"g3", 50}});
    BSConfig::sharedInstance().putPref(StaticValues::VISIT_NEW_SERVER_TIME(), 1'479'259'000);
    send();

    EXPECT_EQ(uploadedSection(TrackType::TYPE_SESSION()).at(StaticValues::VISIT_NEW_SERVER_TIME()),
              Value(1'479'259'000));
}

TEST_F(Assembly, ANewVisitDoesNotCarryTheServersTime) {
    BSConfig::sharedInstance().putPref(StaticValues::VISIT_NEW_SERVER_TIME(), 1'479'259'000);
    send();

    EXPECT_FALSE(uploadedSection(TrackType::TYPE_SESSION()).contains(StaticValues::VISIT_NEW_SERVER_TIME()));
}

TEST_F(Assembly, WithoutAServersTimeAContinuedVisitCarriesNone) {
    makeHeadContinued();
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"g3", 50}});
    send();

    EXPECT_FALSE(uploadedSection(TrackType::TYPE_SESSION()).contains(StaticValues::VISIT_NEW_SERVER_TIME()));
}

// ---- The app-open mark ----

TEST_F(Assembly, TheAppOpenFlagGoesIntoOneDocument) {
    HarvelstoneCore::setAppOpenFlag(true);
    send();
    EXPECT_EQ(uploadedSection(TrackType::TYPE_SESSION()).at(StaticValues::APP_OPEN_FLAG()), Value(true));
    EXPECT_FALSE(HarvelstoneCore::getAppOpenFlag());

    addNewVisit();
    answer("{}");
    EXPECT_FALSE(uploadedSection(TrackType::TYPE_SESSION()).contains(StaticValues::APP_OPEN_FLAG()));
}

// ---- Custom push data ----

TEST_F(Assembly, CustomPushDataReplacesThePushOfTheQueue) {
    queue(StaticValues::PUSH_FILE_PREFIX(), {{"message", "m-1"}});
    setCustomPush(Dictionary{{"message", "custom"}});
    send();

    EXPECT_EQ(uploadedSection(TrackType::TYPE_PUSH()), (Dictionary{{"message", "custom"}}));
}

TEST_F(Assembly, CustomPushDataIsConsumedEvenWhenTheUploadCannotStart) {
    setCustomPush(Dictionary{{"message", "custom"}});
    SessionManager::sharedInstance().configure({{"targetUri", nullptr}});
    send();

    EXPECT_EQ(Tracker::sharedInstance().customPushMapData(), std::nullopt);
    EXPECT_EQ(section(*head(), TrackType::TYPE_PUSH()), (Dictionary{{"message", "custom"}}));
}

TEST_F(Assembly, EmptyCustomPushDataIsNone) {
    setCustomPush(Dictionary{});
    send();

    EXPECT_FALSE(uploaded().contains(TrackType::TYPE_PUSH().typeValue()));
    EXPECT_EQ(Tracker::sharedInstance().customPushMapData(), Dictionary{});
}

TEST_F(Assembly, CustomPushDataIsNothingToReportByItself) {
    makeHeadContinued();
    setCustomPush(Dictionary{{"message", "custom"}});
    send();

    EXPECT_EQ(fateCounts()[Fate::noConversionData], 1U);
    EXPECT_NE(Tracker::sharedInstance().customPushMapData(), std::nullopt);
}

// ---- On disk ----

TEST_F(Assembly, TheDocumentIsOnDiskAsItIsSentBeforeTheUploadStarts) {
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"g3", 50}});
    HarvelstoneCore::setAppOpenFlag(true);
    setCustomPush(Dictionary{{"message", "custom"}});
    nlohmann::json onDisk;
    machine.http->onStart = [&] { onDisk = fileOfMap(machine, headId()); };
    send();

    EXPECT_EQ(onDisk, nlohmann::json::parse(machine.http->requests.back().json()));
    EXPECT_EQ(onDisk.at("retry_count"), 1);
}

TEST_F(Assembly, EachAttemptIsCountedOnDiskBeforeItsUploadStarts) {
    send();
    nlohmann::json onDisk;
    machine.http->onStart = [&] { onDisk = fileOfMap(machine, headId()); };
    send();

    EXPECT_EQ(onDisk.at("retry_count"), 2);
}

}  // namespace
}  // namespace harvelstone::testing
