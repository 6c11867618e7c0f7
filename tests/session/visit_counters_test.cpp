#include <stdexcept>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/BSUtil.hpp"

#include "tests/session/SessionTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class VisitInterval : public SessionTest {
  protected:
    VisitInterval() { (*documentDB)->putDouble(StaticValues::PARAM_LTVI(), 10.0); }
    static Value interval() { return *stored(StaticValues::PARAM_LTVI()); }
};

TEST_F(VisitInterval, GrowsByTheRoundedDays) {
    latestDocumentWas(1.5);
    manager().updateLtvi();
    EXPECT_EQ(interval(), Value(12.0));

    latestDocumentWas(0.49);
    manager().updateLtvi();
    EXPECT_EQ(interval(), Value(12.0));
}

TEST_F(VisitInterval, ShrinksWhenTheClockWasSetBack) {
    latestDocumentWas(-2);
    manager().updateLtvi();

    EXPECT_EQ(interval(), Value(8.0));
}

TEST_F(VisitInterval, DoesNotGrowWithoutALatestDocument) {
    for (const double recent : {0.0, -5.0, 0.9}) {  // the last is 0 as an integer
        (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), recent);
        manager().updateLtvi();
        EXPECT_EQ(interval(), Value(10.0)) << recent;
    }
}

TEST_F(VisitInterval, CutsTheFractionOffTheLatestTime) {
    machine.clock->set(1'479'259'200.0);
    // Half a day and 0.4 seconds less: rounds down. Cut to whole seconds it is half a day exactly, and rounds up.
    (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), 1'479'259'200.0 - secondsOfADay / 2 + 0.4);
    manager().updateLtvi();

    EXPECT_EQ(interval(), Value(11.0));
}

TEST_F(VisitInterval, StartsFromZeroAsADouble) {
    (*documentDB)->putString(StaticValues::PARAM_LTVI(), "nonsense");
    latestDocumentWas(3);
    manager().updateLtvi();

    EXPECT_EQ(interval(), Value(3.0));
}

class ReturnVisits : public SessionTest {
  protected:
    ReturnVisits() {
        limitIs(3);
        (*documentDB)->putInt(StaticValues::PARAM_UD_VT(), 5);
    }
    static void limitIs(int days) { SessionManager::sharedInstance().configure({{"returnVisitDate", days}}); }
    static Value run() { return *stored(StaticValues::PARAM_UD_VT()); }
};

TEST_F(ReturnVisits, GoOnBelowTheLimitAndStartAgainAtIt) {
    latestDocumentWas(2);
    manager().updateUdVt();
    EXPECT_EQ(run(), Value(6));

    latestDocumentWas(3);
    manager().updateUdVt();
    EXPECT_EQ(run(), Value(1));
}

TEST_F(ReturnVisits, AreComparedByRoundedDays) {
    latestDocumentWas(2.49);
    manager().updateUdVt();
    EXPECT_EQ(run(), Value(6));

    latestDocumentWas(2.5);
    manager().updateUdVt();
    EXPECT_EQ(run(), Value(1));
}

TEST_F(ReturnVisits, AreNotCountedWithALimitBelowOneDay) {
    latestDocumentWas(0);
    for (const int limit : {0, -4}) {
        limitIs(limit);
        manager().updateUdVt();
        EXPECT_EQ(run(), Value(5)) << limit;
    }
    limitIs(1);
    manager().updateUdVt();
    EXPECT_EQ(run(), Value(6));
}

TEST_F(ReturnVisits, StartAgainWithoutALatestDocument) {
    (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), 0);
    manager().updateUdVt();

    EXPECT_EQ(run(), Value(1));
}

TEST_F(ReturnVisits, WithoutALatestDocumentHaveAGapAllTheSame) {
    limitIs(100'000);
    (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), 0);
    manager().updateUdVt();

    EXPECT_EQ(run(), Value(6));
}

TEST_F(ReturnVisits, UseTheFractionOfTheLatestTime) {
    limitIs(1);
    machine.clock->set(1'479'259'200.0);
    (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), 1'479'259'200.0 - secondsOfADay / 2 + 0.4);
    manager().updateUdVt();

    EXPECT_EQ(run(), Value(6));
}

TEST_F(ReturnVisits, BeginAtOneWhenNothingUsableIsStored) {
    (*documentDB)->putString(StaticValues::PARAM_UD_VT(), "nonsense");
    latestDocumentWas(0);
    manager().updateUdVt();

    EXPECT_EQ(run(), Value(1));
}

class UniqueVisit : public SessionTest {
  protected:
    void periodsPassed(bool day, bool week, bool month) {
        end(StaticValues::EXPIRE_TIME_DAILY(), day);
        end(StaticValues::EXPIRE_TIME_WEEKLY(), week);
        end(StaticValues::EXPIRE_TIME_MONTHLY(), month);
    }
    void end(const std::string& key, bool hasPassed) {
        (*documentDB)->putDouble(key, machine.clock->now() + (hasPassed ? -1 : 1));
    }
};

TEST_F(UniqueVisit, IsToldByThePassedPeriods) {
    struct Row {
        bool day, week, month;
        std::int64_t answer;
    };
    for (const Row row : {Row{true, false, false, 1}, Row{true, true, false, 2}, Row{true, true, true, 3},
                          Row{true, false, true, 4}, Row{false, false, false, 0}, Row{false, true, true, 0}}) {
        SCOPED_TRACE(::testing::Message() << row.day << row.week << row.month);
        periodsPassed(row.day, row.week, row.month);
        EXPECT_EQ(manager().getUniVt("Y"), row.answer);
    }
}

TEST_F(UniqueVisit, IsNoneForAnythingButANewVisit) {
    for (const auto& visitNew : {std::optional<std::string>("N"), std::optional<std::string>("y"),
                                 std::optional<std::string>("YES"), std::optional<std::string>()}) {
        periodsPassed(true, true, true);
        EXPECT_EQ(manager().getUniVt(visitNew), 0) << visitNew.value_or("absent");
    }
}

TEST_F(UniqueVisit, APeriodThatEndsNowHasNotPassed) {
    const double now = machine.clock->now();
    periodsPassed(true, true, true);
    (*documentDB)->putDouble(StaticValues::EXPIRE_TIME_MONTHLY(), now);
    EXPECT_EQ(manager().getUniVt("Y"), 2);

    periodsPassed(true, true, true);
    (*documentDB)->putDouble(StaticValues::EXPIRE_TIME_DAILY(), now);
    EXPECT_EQ(manager().getUniVt("Y"), 0);
}

TEST_F(UniqueVisit, WithoutALatestDocumentEveryPeriodHasPassed) {
    for (const double recent : {0.0, -1.0}) {
        periodsPassed(false, false, false);
        (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), recent);
        EXPECT_EQ(manager().getUniVt("Y"), 3) << recent;
    }
}

TEST_F(UniqueVisit, AnEndThatIsNotStoredHasPassed) {
    for (const auto* key : {&StaticValues::EXPIRE_TIME_DAILY(), &StaticValues::EXPIRE_TIME_WEEKLY(),
                            &StaticValues::EXPIRE_TIME_MONTHLY()})
        (*documentDB)->putString(*key, "no time");
    EXPECT_EQ(manager().getUniVt("Y"), 3);
}

TEST_F(UniqueVisit, RenewsEveryPeriodFromAFreshTimeWhateverTheAnswer) {
    machine.clock->tickPerReading(40 * secondsOfADay);
    const double first = machine.clock->now();
    const auto reading = [&](int n) { return first + n * 40 * secondsOfADay; };  // the first is the date compared
    manager().getUniVt("N");

    EXPECT_EQ(storedDouble(StaticValues::EXPIRE_TIME_DAILY()),
              BSUtil::getExpireLongTimeForUniVt(reading(2), BSUtil::DAILY_UNIQUE()));
    EXPECT_EQ(storedDouble(StaticValues::EXPIRE_TIME_WEEKLY()),
              BSUtil::getExpireLongTimeForUniVt(reading(3), BSUtil::WEEKLY_UNIQUE()));
    EXPECT_EQ(storedDouble(StaticValues::EXPIRE_TIME_MONTHLY()),
              BSUtil::getExpireLongTimeForUniVt(reading(4), BSUtil::MONTHLY_UNIQUE()));
    EXPECT_EQ(stored(StaticValues::PARAM_RECENT_VISIT_PTM()), Value(reading(5)));
}

TEST_F(UniqueVisit, ASecondNewVisitOfTheDayIsNotUnique) {
    endVisit();
    manager().loadDocument();
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_IS_UNI_VT()), Value(0));

    machine.clock->advance(40 * secondsOfADay);
    manager().loadDocument();
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_IS_UNI_VT()), Value(3));
}

class WeeklyUser : public SessionTest {
  protected:
    static void periodEnds(double time) { (*documentDB)->putDouble(StaticValues::EXPIRE_TIME_WEEKLY_MS(), time); }
    static double end() { return storedDouble(StaticValues::EXPIRE_TIME_WEEKLY_MS()); }

    /// What the print of a time as a date leaves in the platform's log.
    std::string printed(double time) {
        machine.log->clear();
        BSUtil::logDateString(time);
        auto lines = machine.log->platformLines();
        machine.log->clear();
        return lines.at(0);
    }
};

TEST_F(WeeklyUser, IsNewWhenThePeriodHasPassed) {
    periodEnds(machine.clock->now() - 1);

    EXPECT_EQ(manager().getWeeklyUniqueUsType("Y"), "Y");
    EXPECT_EQ(end(), BSUtil::getExpireLongTimeForWeeklyUSType(machine.clock->now()));
}

TEST_F(WeeklyUser, IsNotNewBeforeThePeriodHasPassed) {
    const double now = machine.clock->now();
    for (const double time : {now, now + 1}) {
        periodEnds(time);
        EXPECT_EQ(manager().getWeeklyUniqueUsType("Y"), "N");
        EXPECT_EQ(end(), time);
    }
}

TEST_F(WeeklyUser, IsNotNewInAContinuedVisitAndThePeriodIsNotRenewed) {
    for (const auto& visitNew :
         {std::optional<std::string>("N"), std::optional<std::string>("y"), std::optional<std::string>()}) {
        periodEnds(1);
        EXPECT_EQ(manager().getWeeklyUniqueUsType(visitNew), "N") << visitNew.value_or("absent");
        EXPECT_EQ(end(), 1);
    }
}

TEST_F(WeeklyUser, IsNewWithoutALatestDocument) {
    for (const double recent : {0.0, -1.0}) {
        periodEnds(machine.clock->now() + 1000);
        (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), recent);
        EXPECT_EQ(manager().getWeeklyUniqueUsType("Y"), "Y") << recent;
    }
}

TEST_F(WeeklyUser, RenewsFromAFreshTime) {
    periodEnds(1);
    machine.clock->tickPerReading(10 * secondsOfADay);
    const double first = machine.clock->now();
    EXPECT_EQ(manager().getWeeklyUniqueUsType("Y"), "Y");

    EXPECT_EQ(end(), BSUtil::getExpireLongTimeForWeeklyUSType(first + 20 * secondsOfADay));
}

TEST_F(WeeklyUser, PrintsItsTimesAndItsAnswerToThePlatformsLog) {
    const double now = machine.clock->now();
    latestDocumentWas(2);
    periodEnds(now - 1);
    const auto recent = printed(now - 2 * secondsOfADay);
    const auto passed = printed(now - 1);
    const auto renewed = printed(BSUtil::getExpireLongTimeForWeeklyUSType(now));
    manager().getWeeklyUniqueUsType("Y");

    EXPECT_THAT(machine.log->platformLines(),
                ElementsAre("=============== start ====================", recent, passed, renewed, "mrcm result Y ",
                            "================= end =================="));
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(WeeklyUser, PrintsLessWithoutALatestDocument) {
    (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), 0);
    const auto recent = printed(0);
    manager().getWeeklyUniqueUsType("N");

    EXPECT_THAT(machine.log->platformLines(),
                ElementsAre("=============== start ====================", recent, "mrcm result N ",
                            "================= end =================="));
}

TEST_F(WeeklyUser, IsNotNewWhenACollaboratorRaisesThePlatformsException) {
    periodEnds(1);
    machine.log->clear();
    platform::Platform::current().clock =
        std::make_shared<HookedClock>([]() -> double { throw platform::RangeException("no time"); });

    EXPECT_EQ(manager().getWeeklyUniqueUsType("Y"), "N");
    EXPECT_EQ(end(), 1);
    EXPECT_THAT(machine.log->lines(), IsEmpty());
    EXPECT_THAT(machine.log->platformLines(), ElementsAre("=============== start ====================", ::testing::_));
}

TEST_F(WeeklyUser, LetsExceptionsOfOtherKindsPass) {
    platform::Platform::current().clock =
        std::make_shared<HookedClock>([]() -> double { throw std::runtime_error("no time"); });

    EXPECT_THROW(manager().getWeeklyUniqueUsType("Y"), std::runtime_error);
}

}  // namespace
}  // namespace harvelstone::testing
