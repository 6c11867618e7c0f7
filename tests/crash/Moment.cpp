// The moments of a life at which it may end, and what is left then.

#include "tests/crash/Moment.hpp"

namespace harvelstone::testing {

namespace {

using What = Happening::What;

constexpr double pauseAfterCrash = 30;

}  // namespace

void forEachState(const DiskImage& begin, const History& history, std::size_t before,
                  const std::function<void(const Moment&, const DiskStep* next)>& visit) {
    SimulatedDisk disk(begin);
    std::string call = "the first call";
    for (std::size_t i = 0; i < history.size(); ++i) {
        if (history[i].what == What::call) call = history[i].text;
        if (history[i].what != What::step) continue;
        visit({.disk = disk, .happened = before + i, .nextCall = call}, &history[i].step);
        disk.apply(history[i].step);
    }
    visit({.disk = disk, .happened = before + history.size(), .nextCall = "the end"}, nullptr);
}

std::optional<DiskImage> inTheMiddleOf(const DiskStep* step, const SimulatedDisk& disk) {
    if (step == nullptr || step->kind != DiskStep::Kind::append) return std::nullopt;
    auto torn = *step;
    torn.bytes.resize(torn.bytes.size() / 2);
    auto left = disk;
    left.apply(torn);
    return left.image();
}

Situation afterCrash(const DiskImage& left, platform::SyncPolicy policy, HistoryView before) {
    Situation situation{.disk = left, .policy = policy};
    goBeyond(situation, before);
    situation.time += pauseAfterCrash;
    return situation;
}

}  // namespace harvelstone::testing
