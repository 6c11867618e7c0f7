#include <limits>
#include <set>
#include <thread>
#include <vector>

#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/VisitState.hpp"

#include "tests/services/ServiceTest.hpp"

namespace harvelstone::testing {
namespace {

SessionManager& sessions() { return SessionManager::sharedInstance(); }

std::string current() { return sessions().getSession(0); }

std::optional<std::string> visitNew() { return sessions().getVisitNew("id", /*isReadOnly=*/false); }

std::optional<std::string> visitNewReadOnly() { return sessions().getVisitNew("id", /*isReadOnly=*/true); }

/// As the creation of a document does.
void recordDocument() { sessions().updateLastSessionID(current()); }

class SessionManagerTest : public ServiceTest {
  protected:
    void pass(double seconds) { machine.clock->advance(seconds); }
};

using SessionManagerLives = LivesTest;

TEST_F(SessionManagerTest, IsOnePerProcess) { EXPECT_EQ(&sessions(), &sessions()); }

TEST_F(SessionManagerTest, NamesASessionByAUuidWithoutSeparators) {
    EXPECT_EQ(current(), "00000001000040008000000000000000");
}

TEST_F(SessionManagerTest, GivesTheCurrentSessionForEveryFlag) {
    const auto id = current();
    EXPECT_EQ(sessions().getSession(0), id);
    EXPECT_EQ(sessions().getSession(std::nullopt), id);
    EXPECT_EQ(sessions().getSid(0), id);
    EXPECT_EQ(sessions().getSid(1), id);
    EXPECT_EQ(sessions().getSid(std::nullopt), id);
}

TEST_F(SessionManagerTest, KeepsTheSessionUpToTheTimeout) {
    const auto id = current();
    pass(1800);
    EXPECT_EQ(current(), id);
}

TEST_F(SessionManagerTest, BeginsANewSessionAfterTheTimeout) {
    const auto id = current();
    pass(1801);
    EXPECT_NE(current(), id);
}

TEST_F(SessionManagerTest, DoesNotCountAskingForTheSessionAsActivity) {
    const auto id = current();
    pass(1000);
    EXPECT_EQ(current(), id);
    pass(801);
    EXPECT_NE(current(), id);
}

TEST_F(SessionManagerTest, CountsATouchAsActivity) {
    const auto id = current();
    pass(1000);
    sessions().touch();
    pass(1800);
    EXPECT_EQ(current(), id);
    pass(1);
    EXPECT_NE(current(), id);
}

TEST_F(SessionManagerTest, CountsAPageViewAsActivity) {
    const auto id = current();
    pass(1000);
    sessions().addCsPV();
    pass(1800);
    EXPECT_EQ(current(), id);
}

TEST_F(SessionManagerTest, CountsTheQuestionForANewVisitAsActivity) {
    const auto id = current();
    pass(1000);
    EXPECT_EQ(visitNew(), "Y");
    pass(1800);
    EXPECT_EQ(current(), id);
}

TEST_F(SessionManagerTest, CountsActivityWithinASecondOfTheOneBefore) {
    const auto id = current();
    pass(0.5);
    sessions().touch();
    pass(1800);
    EXPECT_EQ(current(), id);
}

TEST_F(SessionManagerTest, BeginsANewSessionWithActivityAfterTheTimeout) {
    const auto id = current();
    pass(1801);
    sessions().touch();
    const auto next = current();
    EXPECT_NE(next, id);
    pass(1800);
    EXPECT_EQ(current(), next);
}

TEST_F(SessionManagerTest, BeginsANewSessionWhenTheHostEndedTheVisit) {
    const auto id = current();
    sessions().endVisit();
    const auto next = current();
    EXPECT_NE(next, id);
    EXPECT_EQ(current(), next);
}

TEST_F(SessionManagerTest, EndsNoVisitWhereNoneHasBegun) {
    sessions().endVisit();
    EXPECT_EQ(sessions().getSlotNo(current()), 1);
}

TEST_F(SessionManagerTest, TakesAnotherTimeout) {
    sessions().setVisitTimeout(60);
    const auto id = current();
    pass(60);
    EXPECT_EQ(current(), id);
    pass(1);
    EXPECT_NE(current(), id);
}

TEST_F(SessionManagerTest, RefusesATimeoutThatIsNone) {
    EXPECT_EQ(refusal([] { sessions().setVisitTimeout(0); }), "0 is no time-out of a visit");
    EXPECT_EQ(refusal([] { sessions().setVisitTimeout(-1); }), "-1 is no time-out of a visit");
    EXPECT_EQ(refusal([] { sessions().setVisitTimeout(std::numeric_limits<double>::quiet_NaN()); }),
              "nan is no time-out of a visit");
}

TEST_F(SessionManagerTest, KeepsTheSessionWhenTheClockIsSetBack) {
    const auto id = current();
    pass(-1'000'000);
    EXPECT_EQ(current(), id);
    EXPECT_EQ(visitNewReadOnly(), "Y");
}

TEST_F(SessionManagerTest, CountsFromTheNewTimeOnceThereIsActivityOnASetBackClock) {
    const auto id = current();
    pass(-1'000'000);
    sessions().touch();
    pass(1800);
    EXPECT_EQ(current(), id);
    pass(1);
    EXPECT_NE(current(), id);
}

TEST_F(SessionManagerTest, CallsAVisitNewUntilADocumentRecordsIt) {
    EXPECT_EQ(visitNew(), "Y");
    EXPECT_EQ(visitNew(), "Y");
    recordDocument();
    EXPECT_EQ(visitNew(), "N");
}

TEST_F(SessionManagerTest, RollsOverWhenItIsAskedForANewVisit) {
    recordDocument();
    const auto id = current();
    pass(1801);
    EXPECT_EQ(visitNew(), "Y");
    EXPECT_NE(current(), id);
}

TEST_F(SessionManagerTest, CallsAVisitNewAfterTheHostEndedTheOneBefore) {
    recordDocument();
    sessions().endVisit();
    EXPECT_EQ(visitNewReadOnly(), "Y");
    EXPECT_EQ(visitNew(), "Y");
    recordDocument();
    EXPECT_EQ(visitNew(), "N");
}

TEST_F(SessionManagerTest, AnswersAReadOnlyQuestionWithoutBeginningASession) {
    EXPECT_EQ(visitNewReadOnly(), "Y");
    EXPECT_THAT(machine.storedFiles(), ::testing::IsEmpty());
    EXPECT_EQ(current(), "00000001000040008000000000000000");
}

TEST_F(SessionManagerTest, AnswersAReadOnlyQuestionWithoutTouchingAnything) {
    recordDocument();
    const auto stored = machine.readFile("BS_SESSION.Harvelstone");
    EXPECT_EQ(visitNewReadOnly(), "N");
    pass(1801);
    EXPECT_EQ(visitNewReadOnly(), "Y");
    EXPECT_EQ(machine.readFile("BS_SESSION.Harvelstone"), stored);
    pass(-1);
    EXPECT_EQ(visitNewReadOnly(), "N");
}

TEST_F(SessionManagerTest, DatesASessionByItsStart) {
    setTimeZone("UTC");
    machine.clock->set(1'479'259'200.5);
    const auto first = current();
    pass(1801);
    const auto second = current();
    EXPECT_EQ(sessions().getVtTz(first), "2016-11-16T01:20:00+00:00");
    EXPECT_EQ(sessions().getVtTz(second), "2016-11-16T01:50:01+00:00");
    EXPECT_EQ(sessions().getVtTz("unknown"), std::nullopt);
}

TEST_F(SessionManagerTest, NumbersSessionsFromOne) {
    const auto first = current();
    sessions().endVisit();
    const auto second = current();
    EXPECT_EQ(sessions().getSlotNo(first), 1);
    EXPECT_EQ(sessions().getSlotNo(second), 2);
    EXPECT_EQ(sessions().getSlotNo("unknown"), 0);
}

TEST_F(SessionManagerTest, CountsPageViewsBySession) {
    const auto first = current();
    sessions().addCsPV();
    sessions().addCsPV();
    sessions().endVisit();
    sessions().addCsPV();
    EXPECT_EQ(sessions().getCsPV(first), 2);
    EXPECT_EQ(sessions().getCsPV(current()), 1);
    EXPECT_EQ(sessions().getCsPV("unknown"), 0);
}

TEST_F(SessionManagerTest, ForgetsTheCountsOfTheOldestSessions) {
    const auto first = current();
    sessions().addCsPV();
    for (std::size_t i = 0; i < rememberedVisits; ++i) {
        EXPECT_EQ(sessions().getCsPV(first), 1) << i;
        sessions().endVisit();
        current();
    }
    EXPECT_EQ(sessions().getCsPV(first), 0);
    EXPECT_EQ(sessions().getVtTz(first), std::nullopt);
}

TEST_F(SessionManagerTest, WritesABurstOfActivityOnce) {
    current();
    const auto stored = machine.readFile("BS_SESSION.Harvelstone");
    pass(0.25);
    sessions().touch();
    sessions().touch();
    EXPECT_EQ(machine.readFile("BS_SESSION.Harvelstone"), stored);
    pass(1);
    sessions().touch();
    EXPECT_NE(machine.readFile("BS_SESSION.Harvelstone"), stored);
}

TEST_F(SessionManagerTest, LosesNoPageViewToAnotherThread) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int view = 0; view < 25; ++view) sessions().addCsPV();
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(sessions().getCsPV(current()), 100);
}

TEST_F(SessionManagerTest, BeginsOneSessionForAllThreads) {
    std::vector<std::string> ids(4);
    std::vector<std::thread> threads;
    for (auto& id : ids) threads.emplace_back([&id] { id = current(); });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), 1U);
}

TEST_F(SessionManagerLives, ContinuesASessionAfterAQuickRestart) {
    life([&] {
        const Machine machine(documents.path());
        recordDocument();
        sessions().addCsPV();
    });
    life([&] {
        const Machine machine(documents.path());
        machine.clock->advance(1800);
        EXPECT_EQ(visitNew(), "N");
        EXPECT_EQ(current(), "00000001000040008000000000000000");
        EXPECT_EQ(sessions().getCsPV(current()), 1);
    });
}

TEST_F(SessionManagerLives, BeginsANewSessionWhenTheRestartComesLate) {
    life([&] {
        const Machine machine(documents.path());
        current();
    });
    life([&] {
        const Machine machine(documents.path());
        machine.device->uuidText();  // the faked device begins its count afresh in each life
        machine.clock->advance(1801);
        EXPECT_EQ(visitNew(), "Y");
        EXPECT_EQ(current(), "00000002000040008000000000000000");
        EXPECT_EQ(sessions().getSlotNo(current()), 2);
    });
}

TEST_F(SessionManagerLives, RemembersThatTheHostEndedTheVisit) {
    life([&] {
        const Machine machine(documents.path());
        current();
        sessions().endVisit();
    });
    life([&] {
        const Machine machine(documents.path());
        machine.device->uuidText();
        EXPECT_EQ(sessions().getSlotNo(current()), 2);
    });
}

TEST_F(SessionManagerLives, CountsActivityOfTheLifeBefore) {
    life([&] {
        const Machine machine(documents.path());
        current();
        machine.clock->advance(1000);
        sessions().touch();
    });
    life([&] {
        const Machine machine(documents.path());
        machine.clock->advance(2800);
        EXPECT_EQ(sessions().getSlotNo(current()), 1);
    });
}

}  // namespace
}  // namespace harvelstone::testing
