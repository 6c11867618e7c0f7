// The moments of a life at which it may end, and what is left then.

#include "tests/crash/Moment.hpp"

#include <algorithm>
#include <fmt/format.h>

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

std::vector<std::pair<std::string, DiskImage>> disksAfterPowerLoss(const Moment& moment, std::size_t seeds) {
    using Data = PowerLoss::Data;
    using Entries = PowerLoss::Entries;
    std::vector<std::pair<std::string, DiskImage>> different;
    const auto add = [&](Entries entries, Data data, std::uint64_t seed) {
        auto image = moment.disk.afterPowerLoss({.entries = entries, .data = data, .seed = seed});
        const auto isSame = [&](const auto& other) { return other.second == image; };
        if (std::any_of(different.begin(), different.end(), isSame)) return;
        different.emplace_back(
            fmt::format("power lost ({}, {}, {})", static_cast<int>(entries), static_cast<int>(data), seed),
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

Situation afterCrash(const DiskImage& left, platform::SyncPolicy policy, HistoryView before) {
    Situation situation{.disk = left, .policy = policy};
    goBeyond(situation, before);
    situation.time += pauseAfterCrash;
    return situation;
}

}  // namespace harvelstone::testing
