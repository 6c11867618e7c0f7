// The scripted lives, ended after each of their calls on the disk: by the death of the process, and by a loss of power.
// Each time the app starts again on what is left, goes on, and has to account for everything.

#include <gtest/gtest.h>
#include <iostream>
#include <string>

#include "tests/crash/Guarantees.hpp"
#include "tests/crash/Moment.hpp"
#include "tests/crash/Script.hpp"
#include "tests/crash/sample.hpp"

namespace harvelstone::testing {
namespace {

using platform::SyncPolicy;

class CrashPoints : public ::testing::Test {
  protected:
    /// Lives every life of the script to its end, and looks into each state of the disk on the way.
    void forEachMoment(SyncPolicy policy,
                       const std::function<void(const Situation&, const Moment&, const DiskStep*)>& visit) {
        Situation situation{.policy = policy};
        for (const auto& one : scriptedLives()) {
            situation.time += one.pauseBefore;
            const auto history = lived(situation, one.piece);
            ASSERT_FALSE(history.empty()) << one.name;
            const auto before = lives_.size();
            lives_.insert(lives_.end(), history.begin(), history.end());
            calls_ += callsIn(history);
            const auto trace = "the life \"" + one.name + "\"";
            SCOPED_TRACE(trace);
            forEachState(situation.disk, history, before,
                         [&](const Moment& moment, const DiskStep* next) { visit(situation, moment, next); });
            situation.disk = diskAfter(situation.disk, history);
            goBeyond(situation, history);
        }
    }

    /// Whether this state of the disk is one of those to be tried.
    bool isTried(std::size_t oneIn) {
        ++states_;
        const bool isIt = states_ % sampleStride(oneIn) == 0;
        if (isIt) ++tried_;
        return isIt;
    }

    enum class Promise {
        silence,      ///< nothing is lost, and there is nothing to report
        nothingLost,  ///< what was never acknowledged may be reported as damage
        nothing,      ///< but that the app goes on and doubles nothing
    };

    /// The app starts on the disk that the crash has left.
    void restart(const Situation& begin, const Moment& moment, const DiskImage& left, const std::string& how,
                 Promise promise) {
        ++restarts_;
        const auto before = HistoryView(lives_).first(moment.happened);
        const auto situation = afterCrash(left, begin.policy, before);
        const auto trace = how + " before " + moment.nextCall + " (" + std::to_string(moment.happened) + ")";
        life([&] {
            SCOPED_TRACE(trace);
            const bool isAllPromised = promise != Promise::nothing;
            if (isAllPromised) expectSoundFiles(left, before);
            App app(situation);
            goOn(app);
            if (isAllPromised)
                expectFullAccount(before, app.history(), app.disk().image());
            else
                expectAccountOfLatestLife(before, app.history(), app.disk().image());
            if (isAllPromised) expectNoComplaint(app.log(), promise == Promise::silence);
        });
    }

    /// No map and no queue that holds something acknowledged was complained about.
    static void expectNoComplaint(const RecordingLog& log, bool isStrict) {
        for (const auto& line : log.linesStartingWith("DEBUG_HARVELSTONE_STORE")) {
            const bool isOfTornQueue = line.ends_with(" passed over") || line.find(" is no queue file") != line.npos;
            EXPECT_TRUE(isOfTornQueue && !isStrict) << line;
        }
    }

    void print(const std::string& what) const {
        EXPECT_GT(restarts_, 0U);
        std::cout << what << ": " << calls_ << " calls, after each of which a life may end, pass through " << states_
                  << " states of the disk; from " << tried_ << " of them restarted on " << restarts_ << " disks\n";
    }

    History lives_;
    std::size_t calls_ = 0;
    std::size_t states_ = 0;
    std::size_t tried_ = 0;
    std::size_t restarts_ = 0;
};

TEST_F(CrashPoints, TheDeathOfTheProcessLosesNothing) {
    forEachMoment(SyncPolicy::processExit, [&](const Situation& begin, const Moment& moment, const DiskStep* next) {
        if (!isTried(/*oneIn=*/11)) return;
        restart(begin, moment, moment.disk.image(), "killed", Promise::silence);
        if (const auto torn = inTheMiddleOf(next, moment.disk))
            restart(begin, moment, *torn, "killed in the middle of the write", Promise::silence);
    });
    print("process death");
}

TEST_F(CrashPoints, ALossOfPowerLosesNothingThatWasSynced) {
    forEachMoment(SyncPolicy::powerLoss, [&](const Situation& begin, const Moment& moment, const DiskStep*) {
        if (!isTried(/*oneIn=*/29)) return;
        for (const auto& [how, left] : disksAfterPowerLoss(moment, isFullRun() ? 8 : 1))
            restart(begin, moment, left, how, Promise::nothingLost);
    });
    print("loss of power");
}

TEST_F(CrashPoints, ALossOfPowerWithoutSyncingStopsNoApp) {
    forEachMoment(SyncPolicy::processExit, [&](const Situation& begin, const Moment& moment, const DiskStep*) {
        if (!isTried(/*oneIn=*/61)) return;
        for (const auto& [how, left] : disksAfterPowerLoss(moment, isFullRun() ? 2 : 1))
            restart(begin, moment, left, how, Promise::nothing);
    });
    print("loss of power without syncing");
}

}  // namespace
}  // namespace harvelstone::testing
