#include <cstdint>
#include <limits>
#include <string>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/BSUtil.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class RecordQueues : public DocumentTest {
  protected:
    RecordQueues() {
        manager();
        machine.log->clear();
    }

    void setProductAndCategory() {
        manager().setProduct("p-7", "Red shoes");
        manager().setProductCategory("c-2", "Shoes");
    }

    /// The four fields that every goal carries after `setProductAndCategory`, and its date.
    static Dictionary goalRecord(const std::string& date) {
        return {{StaticValues::PARAM_VT_TZ(), date},
                {StaticValues::PARAM_PNC(), "p-7"},
                {StaticValues::PARAM_PNC_NM(), "Red shoes"},
                {StaticValues::PARAM_PNG(), "c-2"},
                {StaticValues::PARAM_PNG_NM(), "Shoes"}};
    }
    static Dictionary goalRecord(const std::string& date, const std::string& goalNumber, std::int64_t value) {
        auto record = goalRecord(date);
        record.emplace(StaticValues::PARAM_G() + goalNumber, value);
        return record;
    }

    List queued(const std::string& prefix) { return manager().getQueue(prefix, pendingIds().back()); }
    List goals() { return queued(StaticValues::GOAL_FILE_PREFIX()); }
    List events() { return queued(StaticValues::EVENT_FILE_PREFIX()); }
    List campaigns() { return queued(StaticValues::CAMPAIGN_FILE_PREFIX()); }

    static std::string now() { return BSUtil::getCurrentDateString(); }
    static std::optional<Value> stored(const std::string& key) { return (*documentDB)->get(key); }
};

TEST_F(RecordQueues, AGoalIsStoredAsTwoNumbers) {
    manager().setGoal(3, -50);

    EXPECT_EQ(stored(StaticValues::PARAM_G()), Value(List{3, -50}));
}

TEST_F(RecordQueues, ALaterGoalReplacesTheStoredPair) {
    manager().setGoal(3, 50);
    manager().setGoal(4, 60);

    EXPECT_EQ(stored(StaticValues::PARAM_G()), Value(List{4, 60}));
}

TEST_F(RecordQueues, AGoalRecordCarriesDateGoalProductAndCategory) {
    setProductAndCategory();
    manager().setGoal(3, 50);
    manager().putGoal();

    EXPECT_THAT(goals(), ElementsAre(Value(goalRecord(now(), "3", 50))));
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(RecordQueues, AGoalPutTwiceIsTwoRecordsOfTheSameGoal) {
    setProductAndCategory();
    manager().setGoal(3, 50);
    manager().putGoal();
    manager().putGoal();

    EXPECT_THAT(goals(), ElementsAre(goalRecord(now(), "3", 50), goalRecord(now(), "3", 50)));
    EXPECT_EQ(stored(StaticValues::PARAM_G()), Value(List{3, 50}));
}

TEST_F(RecordQueues, WithoutAStoredGoalTheRecordHasNoGoalKey) {
    setProductAndCategory();
    manager().putGoal();

    EXPECT_THAT(goals(), ElementsAre(Value(goalRecord(now()))));
}

TEST_F(RecordQueues, AStoredGoalThatIsNoListCountsAsNone) {
    setProductAndCategory();
    (*documentDB)->putString(StaticValues::PARAM_G(), "3");
    manager().putGoal();

    EXPECT_THAT(goals(), ElementsAre(Value(goalRecord(now()))));
}

TEST_F(RecordQueues, GoalNumberZeroIsAGoal) {
    setProductAndCategory();
    manager().setGoal(0, 5);
    manager().putGoal();

    EXPECT_THAT(goals(), ElementsAre(Value(goalRecord(now(), "0", 5))));
}

TEST_F(RecordQueues, NumbersOfTheWholeRangeAreKept) {
    setProductAndCategory();
    manager().setGoal(std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max());
    manager().putGoal();

    EXPECT_THAT(goals(), ElementsAre(Value(goalRecord(now(), "-9223372036854775808", 9'223'372'036'854'775'807))));
}

TEST_F(RecordQueues, ANullGoalNumberIsNoGoal) {
    setProductAndCategory();
    (*documentDB)->putMutableArray(StaticValues::PARAM_G(), List{nullptr, 5});
    manager().putGoal();

    EXPECT_THAT(goals(), ElementsAre(Value(goalRecord(now()))));
}

TEST_F(RecordQueues, AGoalPairOfOneNumberRaisesARangeExceptionAndRecordsNothing) {
    setProductAndCategory();
    (*documentDB)->putMutableArray(StaticValues::PARAM_G(), List{3});

    EXPECT_THROW(manager().putGoal(), platform::RangeException);
    EXPECT_THAT(goals(), IsEmpty());
}

TEST_F(RecordQueues, BothNumbersAreReadBeforeTheFirstIsLookedAt) {
    setProductAndCategory();
    (*documentDB)->putMutableArray(StaticValues::PARAM_G(), List{nullptr});

    EXPECT_THROW(manager().putGoal(), platform::RangeException);
}

TEST_F(RecordQueues, AnEmptyGoalPairRaisesARangeException) {
    setProductAndCategory();
    (*documentDB)->putMutableArray(StaticValues::PARAM_G(), List{});

    EXPECT_THROW(manager().putGoal(), platform::RangeException);
}

TEST_F(RecordQueues, ANullSecondNumberIsLookedAtOnlyForAGoal) {
    setProductAndCategory();
    (*documentDB)->putMutableArray(StaticValues::PARAM_G(), List{3, nullptr});
    EXPECT_THAT(refusal([&] { manager().putGoal(); }), HasSubstr("\"g3\""));

    (*documentDB)->putMutableArray(StaticValues::PARAM_G(), List{nullptr, nullptr});
    EXPECT_NO_THROW(manager().putGoal());
}

TEST_F(RecordQueues, TheGoalsDateIsThatOfPutGoal) {
    setProductAndCategory();
    manager().setGoal(3, 50);
    machine.clock->advance(3600);
    manager().putGoal();

    EXPECT_THAT(goals(), ElementsAre(Value(goalRecord(now(), "3", 50))));
}

TEST_F(RecordQueues, OfTheTwoDatesOfAGoalTheSecondStays) {
    setProductAndCategory();
    machine.clock->set(1'479'300'000);
    machine.clock->tickPerReading(10);
    manager().putGoal();
    machine.clock->tickPerReading(0);

    machine.clock->set(1'479'300'010);
    EXPECT_THAT(goals(), ElementsAre(Value(goalRecord(now()))));
}

TEST_F(RecordQueues, WithoutACategoryAGoalIsRefused) {
    manager().setProduct("p-7", "Red shoes");
    manager().setGoal(3, 50);

    EXPECT_THAT(refusal([&] { manager().putGoal(); }), HasSubstr("\"" + StaticValues::PARAM_PNG() + "\""));
    EXPECT_THAT(goals(), IsEmpty());
}

TEST_F(RecordQueues, WithoutAProductAGoalIsRefused) {
    manager().setProductCategory("c-2", "Shoes");

    EXPECT_THAT(refusal([&] { manager().putGoal(); }), HasSubstr("\"" + StaticValues::PARAM_PNC() + "\""));
    EXPECT_THAT(goals(), IsEmpty());
}

TEST_F(RecordQueues, TheStoredGoalIsLookedAtBeforeProductAndCategory) {
    (*documentDB)->putMutableArray(StaticValues::PARAM_G(), List{3});
    EXPECT_THROW(manager().putGoal(), platform::RangeException);
}

TEST_F(RecordQueues, OfProductAndCategoryTheFirstThatIsMissingIsNamed) {
    for (const auto* key : {&StaticValues::PARAM_PNC(), &StaticValues::PARAM_PNC_NM(), &StaticValues::PARAM_PNG(),
                            &StaticValues::PARAM_PNG_NM()}) {
        EXPECT_THAT(refusal([&] { manager().putGoal(); }), HasSubstr("\"" + *key + "\""));
        (*documentDB)->putString(*key, "known");
    }
    EXPECT_NO_THROW(manager().putGoal());
    EXPECT_THAT(goals(), SizeIs(1));
}

TEST_F(RecordQueues, AnAbsentProductNameIsStoredAsTheEmptyString) {
    setProductAndCategory();
    manager().setProduct("p-8", std::nullopt);
    manager().setProductCategory("c-3", std::nullopt);
    manager().putGoal();

    EXPECT_EQ(stored(StaticValues::PARAM_PNC_NM()), Value(""));
    EXPECT_EQ(stored(StaticValues::PARAM_PNG_NM()), Value(""));
    auto expected = goalRecord(now());
    expected[StaticValues::PARAM_PNC()] = "p-8";
    expected[StaticValues::PARAM_PNC_NM()] = "";
    expected[StaticValues::PARAM_PNG()] = "c-3";
    expected[StaticValues::PARAM_PNG_NM()] = "";
    EXPECT_THAT(goals(), ElementsAre(Value(expected)));
}

TEST_F(RecordQueues, AnAbsentProductCodeIsRefusedAndNothingIsStored) {
    setProductAndCategory();

    EXPECT_THAT(refusal([&] { manager().setProduct(std::nullopt, "Blue shoes"); }),
                HasSubstr(StaticValues::PARAM_PNC()));
    EXPECT_THAT(refusal([&] { manager().setProductCategory(std::nullopt, "Hats"); }),
                HasSubstr(StaticValues::PARAM_PNG()));
    EXPECT_EQ(stored(StaticValues::PARAM_PNC_NM()), Value("Red shoes"));
    EXPECT_EQ(stored(StaticValues::PARAM_PNG_NM()), Value("Shoes"));
}

TEST_F(RecordQueues, AProductCostsOneCommit) {
    const auto files = recordFiles();
    manager().setProduct("p-7", "Red shoes");

    EXPECT_THAT(files->committed, SizeIs(1));
}

TEST_F(RecordQueues, AnEventCarriesDateTypeNameAndValue) {
    manager().setEvent("search", "query", 12.5);

    EXPECT_THAT(events(), ElementsAre(Value(Dictionary{{StaticValues::PARAM_VT_TZ(), now()},
                                                       {StaticValues::PARAM_TYPE(), "search"},
                                                       {StaticValues::PARAM_NAME(), "query"},
                                                       {StaticValues::PARAM_VALUE(), 12.5}})));
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(RecordQueues, ACampaignCarriesDateTypeNameValueAndReferrer) {
    manager().setCampaign("mail", "autumn", "v2", "newsletter");

    EXPECT_THAT(campaigns(), ElementsAre(Value(Dictionary{{StaticValues::PARAM_VT_TZ(), now()},
                                                          {StaticValues::PARAM_TYPE(), "mail"},
                                                          {StaticValues::PARAM_NAME(), "autumn"},
                                                          {StaticValues::PARAM_VALUE(), "v2"},
                                                          {StaticValues::PARAM_REFERER(), "newsletter"}})));
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(RecordQueues, AnAbsentEventArgumentIsRefusedAndNothingIsRecorded) {
    EXPECT_THAT(refusal([&] { manager().setEvent(std::nullopt, "n", "v"); }), HasSubstr(StaticValues::PARAM_TYPE()));
    EXPECT_THAT(refusal([&] { manager().setEvent("t", std::nullopt, "v"); }), HasSubstr(StaticValues::PARAM_NAME()));
    EXPECT_THAT(refusal([&] { manager().setEvent("t", "n", std::nullopt); }), HasSubstr(StaticValues::PARAM_VALUE()));
    EXPECT_THAT(refusal([&] { manager().setEvent("t", "n", nullptr); }), HasSubstr(StaticValues::PARAM_VALUE()));
    EXPECT_THAT(events(), IsEmpty());
}

TEST_F(RecordQueues, AnAbsentCampaignArgumentIsRefusedAndNothingIsRecorded) {
    EXPECT_THAT(refusal([&] { manager().setCampaign(std::nullopt, "n", "v", "r"); }),
                HasSubstr(StaticValues::PARAM_TYPE()));
    EXPECT_THAT(refusal([&] { manager().setCampaign("t", std::nullopt, "v", "r"); }),
                HasSubstr(StaticValues::PARAM_NAME()));
    EXPECT_THAT(refusal([&] { manager().setCampaign("t", "n", std::nullopt, "r"); }),
                HasSubstr(StaticValues::PARAM_VALUE()));
    EXPECT_THAT(refusal([&] { manager().setCampaign("t", "n", "v", std::nullopt); }),
                HasSubstr(StaticValues::PARAM_REFERER()));
    EXPECT_THAT(campaigns(), IsEmpty());
}

TEST_F(RecordQueues, ANewDocumentTakesTheNextRecordsAndLeavesTheEarlierOnes) {
    const auto firstId = pendingIds().back();
    manager().setEvent("search", "query", "shoes");
    machine.clock->advance(1);
    manager().createDocument();
    manager().setEvent("search", "query", "hats");

    ASSERT_NE(pendingIds().back(), firstId);
    EXPECT_EQ(events().at(0).dictionary()->at(StaticValues::PARAM_VALUE()), Value("hats"));
    EXPECT_EQ(manager()
                  .getQueue(StaticValues::EVENT_FILE_PREFIX(), firstId)
                  .at(0)
                  .dictionary()
                  ->at(StaticValues::PARAM_VALUE()),
              Value("shoes"));
}

TEST_F(RecordQueues, WithoutAPendingDocumentRecordingRaisesARangeException) {
    setProductAndCategory();
    documetNameList->store(DocumentNames());

    EXPECT_THROW(manager().putGoal(), platform::RangeException);
    EXPECT_THROW(manager().setEvent("t", "n", "v"), platform::RangeException);
    EXPECT_THROW(manager().setCampaign("t", "n", "v", "r"), platform::RangeException);
    EXPECT_NO_THROW(manager().setGoal(1, 2));
}

TEST_F(RecordQueues, TheQueueIsOpenedBeforeTheRecordIsBuilt) {
    documetNameList->store(DocumentNames());

    // Neither the missing product nor the absent argument is what raises.
    EXPECT_THROW(manager().putGoal(), platform::RangeException);
    EXPECT_THROW(manager().setEvent(std::nullopt, "n", "v"), platform::RangeException);
}

TEST(RecordQueuesAfterARestart, GoalProductAndCategoryAreStillKnown) {
    const TemporaryFolder documents;
    life([&] {
        const Machine machine(documents.path());
        auto& manager = DocumentManager::sharedInstance();
        manager.setProduct("p-7", std::nullopt);
        manager.setProductCategory("c-2", std::nullopt);
        manager.setGoal(3, 50);
    });
    life([&] {
        const Machine machine(documents.path());
        auto& manager = DocumentManager::sharedInstance();
        manager.putGoal();
        const auto goals = manager.getQueue(StaticValues::GOAL_FILE_PREFIX(), pendingIds().back());
        ASSERT_THAT(goals, SizeIs(1));
        EXPECT_EQ(goals.front().dictionary()->at(StaticValues::PARAM_G() + "3"), Value(50));
        EXPECT_EQ(goals.front().dictionary()->at(StaticValues::PARAM_PNC()), Value("p-7"));
    });
}

}  // namespace
}  // namespace harvelstone::testing
