#pragma once

#include "tests/support/SimulatedDisk.hpp"

namespace harvelstone::testing {

class Life;

/// Tells the watch what an app finds that starts on this disk.
void conditionsAtStart(Life& life, const DiskImage& disk);

/// Something that a thread of the host may do, drawn by the seed, and a pause after it.
void performDrawnOperation(Life& life);

/// One more attempt to send all that waits, with nothing in the way.
void performSettlingOperations(Life& life);

}  // namespace harvelstone::testing
