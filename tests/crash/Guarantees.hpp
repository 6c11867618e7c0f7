#pragma once

#include <cstddef>
#include <string>

#include "tests/crash/History.hpp"

namespace harvelstone::testing {

// Each of these fails the test that calls it, with what is wrong.

/// Whether two visits may have the same number: those may that began while the counters could not be read.
enum class VisitNumbers { unique, mayRepeat };

/// What a restart finds: every map is whole, every listed document has its session section unless pruning removed its
/// file, and the visit counter is that of the newest document, or above it where numbers may repeat.
void expectSoundFiles(const DiskImage& disk, HistoryView before, VisitNumbers numbers = VisitNumbers::unique);

/// What has become of everything, once all lives are over and nothing is under way: each record that was acknowledged
/// is in the content of its one document, once, or waits in its queue, or was dropped by a rule; each document is
/// pending or retired; what was uploaded again was the same; each visit has a number and the document that it began
/// with.
void expectFullAccount(HistoryView before, HistoryView after, const DiskImage& end,
                       VisitNumbers numbers = VisitNumbers::unique);

/// The same of a life in which the disk failed and that ended before everything was on it again: what was acknowledged
/// from `unsettled` on may be lost, but not doubled, and documents and visits that began since may be forgotten.
void expectAccountBut(std::size_t unsettled, HistoryView before, HistoryView after, const DiskImage& end);

/// The same without what was promised before the latest life: that may be lost, but not doubled.
void expectAccountOfLatestLife(HistoryView before, HistoryView after, const DiskImage& end);

/// The name of a stored file, without the folder.
std::string fileNameOf(const std::string& path);

}  // namespace harvelstone::testing
