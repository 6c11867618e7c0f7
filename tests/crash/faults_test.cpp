// The scripted lives on a disk that fails: one call of each life, or all from one on. The app never notices; once the
// disk works again, one more record of each kind brings everything onto it.

#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "tests/crash/FaultKind.hpp"
#include "tests/crash/Guarantees.hpp"
#include "tests/crash/Script.hpp"
#include "tests/crash/sample.hpp"

namespace harvelstone::testing {
namespace {

enum class Duration { once, lasting };

void PrintTo(Duration duration, std::ostream* out) { *out << (duration == Duration::once ? "once" : "lasting"); }

class Faults : public ::testing::TestWithParam<std::tuple<std::size_t, Duration>> {
  protected:
    const FaultKind& kind() const { return faultKinds[std::get<0>(GetParam())]; }
    bool isLasting() const { return std::get<1>(GetParam()) == Duration::lasting; }

    /// Whether this call is one of those that are made to fail. Each kind begins with another.
    bool isTried(const std::string& call) {
        if (!kind().canMeet(call.substr(0, call.find(' ')))) return false;
        const std::size_t usual = isLasting() ? 311 : 151;
        const auto stride = sampleStride(kind().isShortWrite ? usual / 9 : usual);
        return points_++ % stride == std::get<0>(GetParam()) * stride / faultKinds.size();
    }

    bool isMet(const DiskCall& call, std::size_t number) const {
        if (!kind().canMeet(call.name)) return false;
        return isLasting() ? call.number >= number : call.number == number;
    }

    /// Each kind of failure of each file is one line, and what could not be written does not go without one.
    static void expectOneLineEach(const RecordingLog& log, bool wasWriteRefused) {
        std::map<std::string, int> count;
        for (const auto& line : log.linesStartingWith("DEBUG_HARVELSTONE_STORE")) ++count[line];
        for (const auto& [line, times] : count) EXPECT_EQ(times, 1) << line;
        EXPECT_TRUE(!wasWriteRefused || !count.empty()) << "nobody was told";
    }

    static bool isWrite(const DiskCall& call) {
        return call.name == "append" || call.name == "sync" || call.name == "rename";
    }

    History livedWithFault(const Situation& situation, const ScriptedLife& one, std::size_t number) const {
        return lived(situation, [&](App& app) {
            bool isHealed = false;
            bool wasWriteRefused = false;
            app.onCall = [&](const DiskCall& call) -> std::optional<DiskFault> {
                if (isHealed || !isMet(call, number)) return std::nullopt;
                wasWriteRefused = wasWriteRefused || isWrite(call);
                return kind().fault();
            };
            one.piece(app);
            isHealed = true;
            app.recordOneOfEach();
            expectOneLineEach(app.log(), wasWriteRefused);
        });
    }

    /// What the next life finds, and what is left to it.
    static void expectNothingLost(const Situation& begin, HistoryView before, HistoryView faulty) {
        Situation situation{.disk = diskAfter(begin.disk, faulty), .time = begin.time, .policy = begin.policy};
        goBeyond(situation, before);
        goBeyond(situation, faulty);
        situation.time += 30;
        std::vector<Happening> all(before.begin(), before.end());
        all.insert(all.end(), faulty.begin(), faulty.end());
        life([&] {
            App app(situation);
            goOn(app);
            expectFullAccount(all, app.history(), app.disk().image(), VisitNumbers::mayRepeat);
        });
    }

    std::size_t points_ = 0;  // calls that can fail so
    std::size_t runs_ = 0;
};

std::string nameOf(const ::testing::TestParamInfo<std::tuple<std::size_t, Duration>>& info) {
    return faultKinds[std::get<0>(info.param)].name + (std::get<1>(info.param) == Duration::once ? "Once" : "Lasting");
}

TEST_P(Faults, LoseNothingAndPassUnnoticed) {
    Situation situation;
    History before;
    for (const auto& one : scriptedLives()) {
        situation.time += one.pauseBefore;
        const auto calm = lived(situation, one.piece);
        for (std::size_t number = 1; number <= callsIn(calm); ++number) {
            const auto call = callText(calm, number);
            if (!isTried(call)) continue;
            ++runs_;
            const auto trace = "call " + std::to_string(number) + " of the life \"" + one.name + "\": " + call;
            SCOPED_TRACE(trace);
            const auto faulty = livedWithFault(situation, one, number);
            expectNothingLost(situation, before, faulty);
        }
        before.insert(before.end(), calm.begin(), calm.end());
        situation.disk = diskAfter(situation.disk, calm);
        goBeyond(situation, calm);
    }
    EXPECT_GT(runs_, 0U);
    std::cout << nameOf({GetParam(), 0}) << ": of " << points_ << " calls that can fail so, " << runs_ << " did\n";
}

INSTANTIATE_TEST_SUITE_P(EachKind, Faults,
                         ::testing::Combine(::testing::Range(std::size_t{0}, faultKinds.size()),
                                            ::testing::Values(Duration::once, Duration::lasting)),
                         nameOf);

}  // namespace
}  // namespace harvelstone::testing
