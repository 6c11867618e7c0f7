// The scripted lives on a disk that fails before they end: from call n of a life on, one call fails, some do, or all;
// at some state of the disk behind that the process dies or the power is lost. The app starts again on what is left,
// with a disk that works, and has to account for everything that was safe.

#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "tests/crash/FaultKind.hpp"
#include "tests/crash/Guarantees.hpp"
#include "tests/crash/Moment.hpp"
#include "tests/crash/Script.hpp"
#include "tests/crash/sample.hpp"

namespace harvelstone::testing {
namespace {

using What = Happening::What;

constexpr auto forEver = std::numeric_limits<std::size_t>::max();
constexpr std::size_t never = forEver;

/// Calls that fail: those of a kind, from one on, within so many.
struct Fault {
    const FaultKind& kind;
    std::size_t firstCall = 0;
    std::size_t calls = 0;

    bool isMet(std::size_t number, const std::string& name) const {
        return number >= firstCall && number - firstCall < calls && kind.canMeet(name);
    }
};

/// Where in the history of a life the fault begins, and where an operation has returned that began when it was over:
/// it has brought everything onto the disk.
struct FaultSpan {
    std::size_t begin = never;
    std::size_t settled = never;
};

FaultSpan spanOf(const Fault& fault, HistoryView life) {
    FaultSpan span;
    std::size_t calls = 0;
    bool isOver = false;
    bool isRecording = false;
    for (std::size_t at = 0; at < life.size(); ++at) {
        if (life[at].what == What::call && ++calls == fault.firstCall) span.begin = at;
        if (life[at].what == What::call) isOver = calls >= fault.firstCall && calls - fault.firstCall >= fault.calls;
        if (life[at].what == What::recording) isRecording = isOver;
        if (life[at].what == What::recorded && isRecording) {
            span.settled = at;
            return span;
        }
    }
    return span;
}

enum class Crash { processDeath, powerLoss };

class FaultAndCrash : public ::testing::Test {
  protected:
    /// Of the calls that can fail one in `faultStride` does, of the states behind it one in `momentStride` is the last.
    void tryPairs(Crash crash, std::size_t calls, std::size_t faultStride, std::size_t momentStride) {
        crash_ = crash;
        Situation situation;
        for (const auto& one : scriptedLives()) {
            situation.time += one.pauseBefore;
            const auto calm = lived(situation, one.piece);
            for (std::size_t number = 1; number <= callsIn(calm); ++number) {
                const auto call = callText(calm, number);
                const auto* kind = kindOf(call.substr(0, call.find(' ')), faultStride);
                if (kind == nullptr) continue;
                const auto trace = kind->name + " from call " + std::to_string(number) + " of the life \"" + one.name +
                                   "\" on: " + call;
                SCOPED_TRACE(trace);
                const Fault fault{*kind, number, calls};
                dieAfter(fault, situation, livedWith(fault, situation, one), momentStride);
            }
            before_.insert(before_.end(), calm.begin(), calm.end());
            situation.disk = diskAfter(situation.disk, calm);
            goBeyond(situation, calm);
        }
        EXPECT_GT(restarts_, 0U);
        std::cout << "of " << points_ << " calls that can fail " << faults_ << " did; restarted on " << restarts_
                  << " disks after it\n";
    }

  private:
    /// How this call fails; null when it is none of those that do.
    const FaultKind* kindOf(const std::string& call, std::size_t stride) {
        if (call == "exists" || call == "isDeletable" || points_++ % stride != stride / 2) return nullptr;
        const auto& kind = faultKinds[faults_++ % faultKinds.size()];
        return kind.canMeet(call) ? &kind : &faultKinds.front();
    }

    static History livedWith(const Fault& fault, const Situation& situation, const ScriptedLife& one) {
        return lived(situation, [&](App& app) {
            app.onCall = [&](const DiskCall& call) -> std::optional<DiskFault> {
                return fault.isMet(call.number, call.name) ? std::optional(fault.kind.fault()) : std::nullopt;
            };
            one.piece(app);
        });
    }

    void dieAfter(const Fault& fault, const Situation& begin, const History& faulty, std::size_t stride) {
        const auto span = spanOf(fault, faulty);
        auto all = before_;
        all.insert(all.end(), faulty.begin(), faulty.end());
        forEachState(begin.disk, faulty, before_.size(), [&](const Moment& moment, const DiskStep* next) {
            if (moment.happened - before_.size() <= span.begin || ++moments_ % stride != 0) return;
            const auto happened = HistoryView(all).first(moment.happened);
            for (const auto& [how, left] : disksAfter(moment, next))
                restart(begin, moment, {how, left}, span, happened);
        });
    }

    using Left = std::pair<std::string, DiskImage>;

    std::vector<Left> disksAfter(const Moment& moment, const DiskStep* next) const {
        if (crash_ == Crash::powerLoss) return disksAfterPowerLoss(moment, /*seeds=*/1);
        std::vector<Left> disks{{"killed", moment.disk.image()}};
        if (auto torn = inTheMiddleOf(next, moment.disk)) disks.emplace_back("killed in the middle", *std::move(torn));
        return disks;
    }

    void restart(const Situation& begin, const Moment& moment, const Left& crash, const FaultSpan& span,
                 HistoryView happened) {
        ++restarts_;
        const auto& left = crash.second;
        const auto situation = afterCrash(left, begin.policy, happened);
        const auto trace = crash.first + " before " + moment.nextCall + " (" + std::to_string(moment.happened) + ")";
        const bool isSettled = moment.happened - before_.size() > span.settled;
        life([&] {
            SCOPED_TRACE(trace);
            expectSoundFiles(left, happened, VisitNumbers::mayRepeat);
            App app(situation);
            goOn(app);
            if (isSettled)
                expectFullAccount(happened, app.history(), app.disk().image(), VisitNumbers::mayRepeat);
            else
                expectAccountBut(before_.size() + span.begin, happened, app.history(), app.disk().image());
        });
    }

    Crash crash_ = Crash::processDeath;
    History before_;
    std::size_t points_ = 0;
    std::size_t faults_ = 0;
    std::size_t moments_ = 0;
    std::size_t restarts_ = 0;
};

/// One of so many, in the full run of fewer.
std::size_t stride(std::size_t usual, std::size_t full) { return isFullRun() ? full : sampleStride(usual); }

TEST_F(FaultAndCrash, AfterOneFailedCallLosesNothingThatWasSafe) {
    tryPairs(Crash::processDeath, /*calls=*/1, /*faultStride=*/stride(601, 11), /*momentStride=*/isFullRun() ? 7 : 13);
}

TEST_F(FaultAndCrash, AfterAWhileOfFailuresLosesNothingThatWasSafe) {
    tryPairs(Crash::processDeath, /*calls=*/40, /*faultStride=*/stride(601, 11), /*momentStride=*/isFullRun() ? 7 : 13);
}

TEST_F(FaultAndCrash, OnADiskThatFailsFromThenOnLosesNothingThatWasSafe) {
    tryPairs(Crash::processDeath, /*calls=*/forEver, /*faultStride=*/stride(211, 3), /*momentStride=*/1);
}

TEST_F(FaultAndCrash, AFailedCallAndALossOfPowerLoseNothingThatWasSafe) {
    tryPairs(Crash::powerLoss, /*calls=*/1, /*faultStride=*/stride(1201, 11), /*momentStride=*/isFullRun() ? 7 : 17);
}

TEST_F(FaultAndCrash, AWhileOfFailuresAndALossOfPowerLoseNothingThatWasSafe) {
    tryPairs(Crash::powerLoss, /*calls=*/40, /*faultStride=*/stride(1201, 11), /*momentStride=*/isFullRun() ? 7 : 17);
}

TEST_F(FaultAndCrash, AFailingDiskAndALossOfPowerLoseNothingThatWasSafe) {
    tryPairs(Crash::powerLoss, /*calls=*/forEver, /*faultStride=*/stride(601, 7), /*momentStride=*/1);
}

}  // namespace
}  // namespace harvelstone::testing
