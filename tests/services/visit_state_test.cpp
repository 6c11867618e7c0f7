#include <limits>

#include "harvelstone/services/VisitState.hpp"
#include "harvelstone/services/service_stores.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

constexpr double timeout = 1800;

VisitState visitWithActivityAt(double time) {
    VisitState state;
    beginVisit(state, "A", time);
    return state;
}

TEST(VisitDue, WhenThereIsNone) { EXPECT_TRUE(isVisitDue(VisitState(), 1000, timeout)); }

TEST(VisitDue, OnlyAfterTheTimeoutHasPassed) {
    const auto state = visitWithActivityAt(1000);
    EXPECT_FALSE(isVisitDue(state, 1000, timeout));
    EXPECT_FALSE(isVisitDue(state, 2799, timeout));
    EXPECT_FALSE(isVisitDue(state, 2800, timeout));
    EXPECT_TRUE(isVisitDue(state, 2801, timeout));
}

TEST(VisitDue, WhenTheHostEndedIt) {
    auto state = visitWithActivityAt(1000);
    state.isEnded = true;
    EXPECT_TRUE(isVisitDue(state, 1000, timeout));
}

TEST(VisitDue, NotWhenTheClockWasSetBack) { EXPECT_FALSE(isVisitDue(visitWithActivityAt(1'000'000), 5, timeout)); }

TEST(BeginVisit, NumbersVisitsFromOne) {
    VisitState state;
    beginVisit(state, "A", 1);
    beginVisit(state, "B", 2);
    EXPECT_EQ(findVisit(state, "A")->slot, 1);
    EXPECT_EQ(findVisit(state, "B")->slot, 2);
}

TEST(BeginVisit, CountsAsActivityInAVisitThatIsNotEnded) {
    auto state = visitWithActivityAt(1);
    state.isEnded = true;
    beginVisit(state, "B", 77);
    EXPECT_EQ(state.lastActivity, 77);
    EXPECT_FALSE(state.isEnded);
}

TEST(BeginVisit, ForgetsTheOldestAndGoesOnCounting) {
    VisitState state;
    for (std::size_t i = 1; i <= rememberedVisits + 1; ++i) beginVisit(state, std::to_string(i), 1);
    EXPECT_EQ(state.latest.size(), rememberedVisits);
    EXPECT_EQ(findVisit(state, "1"), nullptr);
    EXPECT_NE(findVisit(state, "2"), nullptr);
    EXPECT_EQ(state.latest.back().slot, static_cast<std::int64_t>(rememberedVisits) + 1);
}

TEST(BeginVisit, StaysAtTheEndOfTheCountersRange) {
    auto state = visitWithActivityAt(1);
    state.latest.back().slot = std::numeric_limits<std::int64_t>::max();
    beginVisit(state, "B", 2);
    EXPECT_EQ(state.latest.back().slot, std::numeric_limits<std::int64_t>::max());
}

TEST(ActivityIsWorthStoring, FromOneSecondOnAndWhenTheClockWasSetBack) {
    EXPECT_FALSE(isWorthStoring(100, 100));
    EXPECT_FALSE(isWorthStoring(100, 100.999));
    EXPECT_TRUE(isWorthStoring(100, 101));
    EXPECT_TRUE(isWorthStoring(100, 99.999));
}

using VisitStateTest = ServiceTest;

TEST_F(VisitStateTest, IsReadBackAsItWasStored) {
    auto& store = *service_stores::visits();
    VisitState state;
    beginVisit(state, "A", 1.5);
    beginVisit(state, "B", 2.5);
    state.latest.back().pageViews = 7;
    state.isEnded = true;
    state.lastRecordedId = "A";
    storeVisits(store, state);
    storeActivity(store, state);
    storeLastRecordedId(store, state);

    const auto read = readVisitState(store);
    EXPECT_EQ(read.latest, state.latest);
    EXPECT_EQ(read.lastActivity, 2.5);
    EXPECT_TRUE(read.isEnded);
    EXPECT_EQ(read.lastRecordedId, "A");
}

TEST_F(VisitStateTest, LeavesOutAnIdThatCannotStandInAFileName) {
    const std::string tooLong(300, 'A');
    machine.writeFile("BS_SESSION.Harvelstone",
                      R"({"sessions":[{"id":"../A"},{"id":".."},{"id":"A\u0000"},{"id":""},{"id":")" + tooLong +
                          R"("},{"id":"B"}]})");
    const auto read = readVisitState(*service_stores::visits());
    ASSERT_EQ(read.latest.size(), 1U);
    EXPECT_EQ(read.latest.front().id, "B");
}

TEST_F(VisitStateTest, LeavesOutWhatIsDamaged) {
    machine.writeFile("BS_SESSION.Harvelstone",
                      R"({"sessions":[7,{"started":1},{"id":5},{"id":"A","started":"x"}],"activity":"x",)"
                      R"("last_recorded_id":3})");
    const auto read = readVisitState(*service_stores::visits());
    EXPECT_THAT(read.latest, ::testing::ElementsAre(Visit{.id = "A", .started = 0, .slot = 0, .pageViews = 0}));
    EXPECT_EQ(read.lastActivity, 0);
    EXPECT_FALSE(read.isEnded);
    EXPECT_EQ(read.lastRecordedId, "");
}

}  // namespace
}  // namespace harvelstone::testing
