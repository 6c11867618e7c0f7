#include "harvelstone/api/Analytics.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <thread>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TinyMap.hpp"
#include "harvelstone/services/TrackType.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone {
namespace {

using platform::InvalidArgumentException;
using ::testing::HasSubstr;

struct AnalyticsTest : testing::DocumentTest {
    AnalyticsTest() { SessionManager::sharedInstance().configure({{"targetUri", "http://collect.example.com/"}}); }

    static std::string newestDocument() { return DocumentManager::sharedInstance().getLaistDocId(); }

    static Dictionary onlyRecord(const std::string& prefix) {
        const auto records = DocumentManager::sharedInstance().getQueue(prefix, newestDocument());
        EXPECT_EQ(records.size(), 1U);
        return records.empty() ? Dictionary() : *records.front().dictionary();
    }

    static std::string reasonOf(const std::function<void()>& call) {
        try {
            call();
        } catch (const InvalidArgumentException& exception) {
            return exception.reason();
        }
        return "nothing was raised";
    }

    static Dictionary newestSession() {
        return TinyMap::sharedInstance()
            .get(newestDocument())
            ->getMutableDictionary(TrackType::TYPE_SESSION().typeValue());
    }
};

TEST_F(AnalyticsTest, APageIsACompleteRecord) {
    Analytics::page("home");

    const auto record = onlyRecord(StaticValues::PAGES_FILE_PREFIX());
    EXPECT_EQ(record.at(StaticValues::PARAM_NAME()), Value("home"));
    EXPECT_EQ(record.at(StaticValues::PARAM_CS_P_V()), Value(1));
    EXPECT_EQ(record.at(StaticValues::PARAM_SID()), Value(SessionManager::sharedInstance().getSid(std::nullopt)));
    EXPECT_EQ(record.at(StaticValues::PARAM_VT_TZ()).string()->substr(0, 8), "2016-11-");
    EXPECT_EQ(DocumentManager::sharedInstance().mergePages({record}), List{record});
}

TEST_F(AnalyticsTest, TheDetailsOfAPageWin) {
    Analytics::page("home", {{StaticValues::PARAM_CS_P_V(), 3}, {"section", "women"}});

    const auto record = onlyRecord(StaticValues::PAGES_FILE_PREFIX());
    EXPECT_EQ(record.at(StaticValues::PARAM_CS_P_V()), Value(3));
    EXPECT_EQ(record.at("section"), Value("women"));
}

TEST_F(AnalyticsTest, RefusesAPageWithoutAName) {
    EXPECT_THAT(reasonOf([] { Analytics::page(""); }), HasSubstr("page name"));
}

TEST_F(AnalyticsTest, APageRecordGetsOnlyItsDate) {
    Analytics::pageRecord({{"a", 1}});

    const auto record = onlyRecord(StaticValues::PAGES_FILE_PREFIX());
    EXPECT_EQ(record.at("a"), Value(1));
    EXPECT_TRUE(record.contains(StaticValues::PARAM_VT_TZ()));
    EXPECT_EQ(record.size(), 2U);
}

TEST_F(AnalyticsTest, KeepsTheDateThatAPageRecordBrings) {
    Analytics::pageRecord({{StaticValues::PARAM_VT_TZ(), "yesterday"}});

    EXPECT_EQ(onlyRecord(StaticValues::PAGES_FILE_PREFIX()).at(StaticValues::PARAM_VT_TZ()), Value("yesterday"));
}

TEST_F(AnalyticsTest, ADateThatIsNullIsNone) {
    Analytics::pageRecord({{StaticValues::PARAM_VT_TZ(), nullptr}});

    EXPECT_NE(onlyRecord(StaticValues::PAGES_FILE_PREFIX()).at(StaticValues::PARAM_VT_TZ()).string(), nullptr);
}

TEST_F(AnalyticsTest, APageRaisesThePageViewCount) {
    Analytics::page("home");
    Analytics::pageRecord({});

    EXPECT_EQ(DocumentManager::sharedInstance().getCsPV(), 2);
}

TEST_F(AnalyticsTest, PageProgressHoldsDateSecondsAndPageViews) {
    Analytics::pageProgress(12.5, 2);

    const auto record = onlyRecord(StaticValues::PAGES_FILE_PREFIX());
    EXPECT_EQ(record.size(), 3U);
    EXPECT_EQ(record.at(StaticValues::PARAM_VS()), Value(12.5));
    EXPECT_EQ(record.at(StaticValues::PARAM_CS_P_V()), Value(2));
    EXPECT_TRUE(record.contains(StaticValues::PARAM_VT_TZ()));
}

TEST_F(AnalyticsTest, QueuesClickRevenueAndPushUnderTheirPrefixes) {
    Analytics::click({{"button", "buy"}});
    Analytics::revenue({{"amount", 9.5}});
    Analytics::pushOpened({{"message", "sale"}});

    EXPECT_EQ(onlyRecord(StaticValues::CLICK_FILE_PREFIX()).at("button"), Value("buy"));
    EXPECT_EQ(onlyRecord(StaticValues::REVENUE_FILE_PREFIX()).at("amount"), Value(9.5));
    EXPECT_EQ(onlyRecord(StaticValues::PUSH_FILE_PREFIX()).at("message"), Value("sale"));
}

TEST_F(AnalyticsTest, RevenueIsMarked) {
    EXPECT_FALSE(ProfileManager::sharedInstance().isMarkRevenue());
    Analytics::revenue({{"amount", 9.5}});

    EXPECT_TRUE(ProfileManager::sharedInstance().isMarkRevenue());
    EXPECT_EQ(ProfileManager::sharedInstance().getLtrvnc(), 1);
}

TEST_F(AnalyticsTest, RefusesARecordWithANamelessMember) {
    EXPECT_THAT(reasonOf([] { Analytics::click({{"", 1}}); }), HasSubstr("without a name"));
    EXPECT_TRUE(
        DocumentManager::sharedInstance().getQueue(StaticValues::CLICK_FILE_PREFIX(), newestDocument()).empty());
}

TEST_F(AnalyticsTest, RefusesANumberThatJsonCannotHold) {
    EXPECT_THROW(Analytics::click({{"x", std::numeric_limits<double>::quiet_NaN()}}), InvalidArgumentException);
}

TEST_F(AnalyticsTest, AGoalTakesProductAndCategory) {
    Analytics::setProduct("p1", "Shoe");
    Analytics::setProductCategory("c1");
    Analytics::goal(3, 50);

    const auto record = onlyRecord(StaticValues::GOAL_FILE_PREFIX());
    EXPECT_EQ(record.at(StaticValues::PARAM_G() + "3"), Value(50));
    EXPECT_EQ(record.at(StaticValues::PARAM_PNC_NM()), Value("Shoe"));
    EXPECT_EQ(record.at(StaticValues::PARAM_PNG_NM()), Value(""));
}

TEST_F(AnalyticsTest, AGoalBeforeAnyProductIsRefusedWithTheMissingKey) {
    EXPECT_THAT(reasonOf([] { Analytics::goal(1, 1); }), HasSubstr(StaticValues::PARAM_PNC()));
}

TEST_F(AnalyticsTest, RefusesEmptyCodes) {
    EXPECT_THAT(reasonOf([] { Analytics::setProduct(""); }), HasSubstr("product code"));
    EXPECT_THAT(reasonOf([] { Analytics::setProductCategory(""); }), HasSubstr("category code"));
}

TEST_F(AnalyticsTest, QueuesEventsAndCampaigns) {
    Analytics::event("search", "query", "red shoes");
    Analytics::campaign("banner", "spring", 7, "home");

    EXPECT_EQ(onlyRecord(StaticValues::EVENT_FILE_PREFIX()).at(StaticValues::PARAM_VALUE()), Value("red shoes"));
    EXPECT_EQ(onlyRecord(StaticValues::CAMPAIGN_FILE_PREFIX()).at(StaticValues::PARAM_REFERER()), Value("home"));
}

TEST_F(AnalyticsTest, RefusesAnEventWithoutAValue) {
    EXPECT_THAT(reasonOf([] { Analytics::event("search", "query", nullptr); }), HasSubstr(StaticValues::PARAM_VALUE()));
}

TEST_F(AnalyticsTest, RecordsEvenWhileNoDocumentIsPending) {
    DocumentManager::sharedInstance();
    documetNameList->store(DocumentNames());

    Analytics::event("search", "query", "red shoes");

    EXPECT_EQ(documetNameList->load()->size(), 1U);
    EXPECT_EQ(onlyRecord(StaticValues::EVENT_FILE_PREFIX()).at(StaticValues::PARAM_NAME()), Value("query"));
}

TEST_F(AnalyticsTest, AVisitThatEndedIsFollowedByANewDocument) {
    Analytics::startVisit();
    const auto first = newestDocument();
    machine.clock->advance(1);
    Analytics::startVisit();
    EXPECT_EQ(newestDocument(), first);

    Analytics::endVisit();
    Analytics::startVisit();

    EXPECT_NE(newestDocument(), first);
    EXPECT_EQ(newestSession().at(StaticValues::PARAM_VISIT_NEW()), Value("Y"));
}

TEST_F(AnalyticsTest, RecordsKeepAVisitAlive) {
    Analytics::startVisit();
    const auto first = newestDocument();
    machine.clock->advance(1000);
    Analytics::click({{"button", "buy"}});
    machine.clock->advance(1000);
    Analytics::startVisit();

    EXPECT_EQ(newestDocument(), first);
}

TEST_F(AnalyticsTest, TheInstallReferrerReachesTheNextDocumentAndEndsTheWait) {
    Analytics::installReferrer({{StaticValues::PARAM_MAT_SOURCE(), "newsletter"}});
    Analytics::refreshDocument();

    EXPECT_EQ(newestSession().at(StaticValues::PARAM_IAT_SOURCE()), Value("newsletter"));
    EXPECT_TRUE(ProfileManager::sharedInstance().isInstallReferrerSet());
}

TEST_F(AnalyticsTest, TheProfileReachesTheRefreshedDocument) {
    Analytics::setProfile({{"mbr", "member-7"}});
    Analytics::refreshDocument();

    EXPECT_EQ(newestSession().at(StaticValues::PARAM_MBR()), Value("member-7"));
}

TEST_F(AnalyticsTest, AClearedProfileIsThatOfAFreshInstallInTheNextDocument) {
    const auto fresh = newestSession();
    Dictionary profile;
    Dictionary nothing;
    for (const auto name : profileNames()) {
        profile.emplace(name, "set");
        nothing.emplace(name, nullptr);
    }
    profile["advIdFlag"] = true;
    profile["ltrvnc"] = profile["ltrvni"] = profile["udRvnc"] = 7;
    Analytics::setProfile(profile);
    Analytics::refreshDocument();
    EXPECT_NE(newestSession(), fresh);

    Analytics::setProfile(nothing);
    Analytics::refreshDocument();

    EXPECT_EQ(newestSession(), fresh);
    EXPECT_EQ(testing::refusal([] { Analytics::setProfile({{"height", nullptr}}); }), "there is no setting \"height\"");
}

TEST_F(AnalyticsTest, GoalsOfTwoThreadsAreEachRecordedOnce) {
    constexpr std::int64_t goalsOfEach = 100;
    Analytics::setProduct("P");
    Analytics::setProductCategory("C");
    const auto recordFrom = [](std::int64_t first) {
        for (auto number = first; number < first + goalsOfEach; ++number) Analytics::goal(number, number);
    };

    std::thread other(recordFrom, 1000);
    recordFrom(2000);
    other.join();

    std::set<std::string> goals;
    for (const auto& record :
         DocumentManager::sharedInstance().getQueue(StaticValues::GOAL_FILE_PREFIX(), newestDocument()))
        for (const auto& [key, value] : *record.dictionary())
            if (key.starts_with("g") && value.isInteger()) goals.insert(key);
    EXPECT_EQ(goals.size(), 2U * goalsOfEach);
}

TEST_F(AnalyticsTest, WithoutConsentNothingIsSent) {
    Analytics::installReferrer({});
    Analytics::setConsent(false);
    Analytics::send();
    EXPECT_TRUE(machine.http->requests.empty());

    Analytics::setConsent(true);
    Analytics::send();
    EXPECT_EQ(machine.http->requests.size(), 1U);
}

TEST_F(AnalyticsTest, AppOpenedIsToldInTheDocumentSent) {
    Analytics::installReferrer({});
    Analytics::appOpened();
    Analytics::send();

    ASSERT_EQ(machine.http->requests.size(), 1U);
    const auto document = machine.http->requests[0].document();
    const auto& session = *document.dictionary()->at(TrackType::TYPE_SESSION().typeValue()).dictionary();
    EXPECT_EQ(session.at(StaticValues::APP_OPEN_FLAG()), Value(true));
}

TEST_F(AnalyticsTest, SendsClickAndGoalAtOnce) {
    Analytics::startVisit();
    Analytics::sendClickImmediately({{"button", "buy"}});
    Analytics::sendGoalImmediately({{"g1", 5}});

    ASSERT_EQ(machine.http->requests.size(), 2U);
    EXPECT_TRUE(machine.http->requests[0].document().dictionary()->contains(TrackType::TYPE_CLICK().typeValue()));
    EXPECT_TRUE(machine.http->requests[1].document().dictionary()->contains(TrackType::TYPE_GOAL().typeValue()));
}

}  // namespace
}  // namespace harvelstone
