// A pass that begins in the middle of another one, as on another thread. Each has to keep to the document it looks at.

#include <utility>

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr int whenPagesAreMerged = 3;  // the reading of the clock after those for the permission and the age

class PassInAPass : public SendingTest {
  protected:
    /// At the line, the first time only, a whole pass is made.
    void passAtLine(const std::string& start) {
        atLine(start, [this] {
            if (!std::exchange(hasPassed_, true)) send();
        });
    }
    /// The same at the clock's reading of that number from now on.
    void passAtReading(int number) {
        const auto clock = machine.clock;
        platform::Platform::current().clock = std::make_shared<HookedClock>([this, clock, number] {
            if (++readings_ == number) send();
            return clock->now();
        });
    }
    static std::uint64_t retiredAs(Fate fate) { return fateCounts()[fate]; }
    static List records(const Dictionary& document, const TypeConstant& type) {
        return *findValue(document, type.typeValue())->list();
    }

  private:
    bool hasPassed_ = false;
    int readings_ = 0;
};

TEST_F(PassInAPass, RetiresAnExpiredDocumentOnceAndNotTheNextWithIt) {
    const auto next = addNewVisit();
    expire(headId());
    passAtLine("DEBUG_HARVELSTONE_JSON : this document life time is over.");

    send();

    EXPECT_THAT(pendingIds(), ElementsAre(next));
    EXPECT_EQ(retiredAs(Fate::expired), 1U);
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(PassInAPass, RetiresADocumentWithoutConversionDataOnceAndNotTheNextWithIt) {
    const auto next = addNewVisit();
    makeHeadContinued();
    passAtLine("DEBUG_HARVELSTONE_sendAsynchronousRequest : this page");

    send();

    EXPECT_THAT(pendingIds(), ElementsAre(next));
    EXPECT_EQ(retiredAs(Fate::noConversionData), 1U);
}

TEST_F(PassInAPass, RetiresADocumentOfTheTrafficLimitOnceAndNotTheNextWithIt) {
    addNewVisit();
    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = true;
    atLine("DEBUG_HARVELSTONE_SENDDOCUMENT_LIMIT_TRAFFIC", [this] {
        Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = false;
        manager().nextSendDocument();
    });

    send();

    EXPECT_THAT(pendingIds(), SizeIs(1));
    EXPECT_EQ(retiredAs(Fate::trafficLimit), 0U);
}

TEST_F(PassInAPass, AddsWhatItHasTakenToWhatTheOtherHasTaken) {
    queue(StaticValues::GOAL_FILE_PREFIX(), {{"goal", 1}});
    queue(StaticValues::CLICK_FILE_PREFIX(), {{"click", 1}});
    passAtReading(whenPagesAreMerged);

    send();

    ASSERT_EQ(sentCount(), 2U) << "the head may be sent twice";
    EXPECT_THAT(records(uploaded(), TrackType::TYPE_GOAL()), SizeIs(1));
    EXPECT_THAT(records(uploaded(), TrackType::TYPE_CLICK()), SizeIs(1));
    EXPECT_EQ(attempts(headId()), Value(1));
}

TEST_F(PassInAPass, AppendsToTheRecordsOfTheOtherAndKeepsItsPush) {
    queue(StaticValues::CLICK_FILE_PREFIX(), {{"click", 1}});
    queue(StaticValues::PUSH_FILE_PREFIX(), {{"push", 1}});
    passAtReading(whenPagesAreMerged);
    atLine("DEBUG_HARVELSTONE_JSON[SDK->SERVER]", [isFirst = true]() mutable {
        if (!std::exchange(isFirst, false)) return;
        queue(StaticValues::CLICK_FILE_PREFIX(), {{"click", 2}});
        queue(StaticValues::PUSH_FILE_PREFIX(), {{"push", 2}});
    });

    send();

    const auto clicks = records(uploaded(), TrackType::TYPE_CLICK());
    ASSERT_THAT(clicks, SizeIs(2));
    EXPECT_EQ(findValue(*clicks[0].dictionary(), "click"), Value(1));
    EXPECT_EQ(findValue(*clicks[1].dictionary(), "click"), Value(2));
    EXPECT_EQ(findValue(section(*head(), TrackType::TYPE_PUSH()), "push"), Value(1));
}

TEST_F(PassInAPass, CountsTheAttemptsThatTheOtherHasMade) {
    passAtReading(whenPagesAreMerged);
    atLine("DEBUG_HARVELSTONE_JSON[SDK->SERVER]", [this, isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) send();
    });

    send();

    EXPECT_EQ(sentCount(), 3U);
    EXPECT_EQ(attempts(headId()), Value(2));
}

TEST_F(PassInAPass, TheSecondAnswerToADocumentRetiresTheNextOneByThatName) {
    const auto next = addNewVisit();
    send();
    send();
    machine.http->answer(0, "{}");
    ASSERT_THAT(pendingIds(), ElementsAre(next));

    machine.http->answer(1, "{}");

    EXPECT_EQ(retiredAs(Fate::sent), 1U);
    EXPECT_EQ(retiredAs(Fate::otherAnswered), 1U);
    EXPECT_NE(headId(), next);
}

}  // namespace
}  // namespace harvelstone::testing
