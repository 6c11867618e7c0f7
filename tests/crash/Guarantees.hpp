#pragma once

#include <string>

#include "tests/crash/History.hpp"

namespace harvelstone::testing {

// Each of these fails the test that calls it, with what is wrong.

/// What a restart finds: every map is whole, every listed document has its session section unless pruning removed its
/// file, and the visit counter is that of the newest document.
void expectSoundFiles(const DiskImage& disk, HistoryView before);

/// Whether two visits may have the same number: those may that began while the counters could not be read.
enum class VisitNumbers { unique, mayRepeat };

/// What has become of everything, once all lives are over and nothing is under way: each record that was acknowledged
/// is in the content of its one document, once, or waits in its queue, or was dropped by a rule; each document is
/// pending or retired; what was uploaded again was the same; each visit has a number and the document that it began
/// with.
void expectFullAccount(HistoryView before, HistoryView after, const DiskImage& end,
                       VisitNumbers numbers = VisitNumbers::unique);

/// The same without what was promised before the latest life: that may be lost, but not doubled.
void expectAccountOfLatestLife(HistoryView before, HistoryView after, const DiskImage& end);

/// The name of a stored file, without the folder.
std::string fileNameOf(const std::string& path);

}  // namespace harvelstone::testing
