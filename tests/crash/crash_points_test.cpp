// The scripted lives, ended after each of their calls on the disk: by the death of the process, and by a loss of power.
// Each time the app starts again on what is left, goes on, and has to account for everything.

#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>
#include <set>
#include <string>
#include <vector>

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

    /// Each different disk that a loss of power may leave of this one, in the full run of so many seeds.
    static std::vector<std::pair<std::string, DiskImage>> afterPowerLoss(const Moment& moment, int seedsOfFullRun) {
        using Data = PowerLoss::Data;
        using Entries = PowerLoss::Entries;
        const auto seeds = static_cast<std::size_t>(isFullRun() ? seedsOfFullRun : 1);
        std::vector<std::pair<std::string, DiskImage>> different;
        const auto add = [&](Entries entries, Data data, std::uint64_t seed) {
            auto image = moment.disk.afterPowerLoss({.entries = entries, .data = data, .seed = seed});
            const auto isSame = [&](const auto& other) { return other.second == image; };
            if (std::any_of(different.begin(), different.end(), isSame)) return;
            different.emplace_back("power lost (" + std::to_string(static_cast<int>(entries)) + ", " +
                                       std::to_string(static_cast<int>(data)) + ", " + std::to_string(seed) + ")",
                                   std::move(image));
        };
        add(Entries::lost, Data::lost, 0);
        add(Entries::kept, Data::lost, 0);
        add(Entries::lost, Data::kept, 0);
        for (std::uint64_t seed = moment.happened; seed < moment.happened + seeds; ++seed) {
            for (const auto data : {Data::torn, Data::zeros, Data::hole}) add(Entries::kept, data, seed);
            add(Entries::prefix, Data::any, seed);
            add(Entries::anySubset, Data::any, seed);
        }
        return different;
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
        for (const auto& [how, left] : afterPowerLoss(moment, /*seedsOfFullRun=*/8))
            restart(begin, moment, left, how, Promise::nothingLost);
    });
    print("loss of power");
}

TEST_F(CrashPoints, ALossOfPowerWithoutSyncingStopsNoApp) {
    forEachMoment(SyncPolicy::processExit, [&](const Situation& begin, const Moment& moment, const DiskStep*) {
        if (!isTried(/*oneIn=*/61)) return;
        for (const auto& [how, left] : afterPowerLoss(moment, /*seedsOfFullRun=*/2))
            restart(begin, moment, left, how, Promise::nothing);
    });
    print("loss of power without syncing");
}

}  // namespace
}  // namespace harvelstone::testing
