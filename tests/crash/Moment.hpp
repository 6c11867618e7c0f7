#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/crash/Script.hpp"

namespace harvelstone::testing {

/// A moment at which a life may end: the disk, and how much of the history has happened.
struct Moment {
    const SimulatedDisk& disk;
    std::size_t happened = 0;
    std::string nextCall;
};

/// Tells each state of the disk once, at the last moment that it lasts: then the most has been promised about it.
/// `before` happenings of earlier lives precede this history.
void forEachState(const DiskImage& begin, const History& history, std::size_t before,
                  const std::function<void(const Moment&, const DiskStep* next)>& visit);

/// The disk when the process dies in the middle of the step; absent when that is no write.
std::optional<DiskImage> inTheMiddleOf(const DiskStep* step, const SimulatedDisk& disk);

/// The different disks that a loss of power may leave at that moment, each with what tells how it comes about. Where
/// chance decides it does so for as many seeds.
std::vector<std::pair<std::string, DiskImage>> disksAfterPowerLoss(const Moment& moment, std::size_t seeds);

/// What the life begins with that follows a crash.
Situation afterCrash(const DiskImage& left, platform::SyncPolicy policy, HistoryView before);

}  // namespace harvelstone::testing
