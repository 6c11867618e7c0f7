#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/crash/App.hpp"

namespace harvelstone::testing {

/// One life of the app, from its start to its end.
struct ScriptedLife {
    std::string name;
    double pauseBefore = 0;  ///< seconds since the end of the one before
    std::function<void(App&)> piece;
};

/// The lives of an app on one device, one after another. Between them they record every kind, assemble and upload,
/// repeat at the server's wish, lose an answer, retire documents by every fate, remove, prune, and start with documents
/// that wait.
const std::vector<ScriptedLife>& scriptedLives();

/// What the app does after a crash or a fault: it starts, records, sends all that waits, and records again.
void goOn(App& app);

/// Runs the life in a process of its own; gives what happened there.
History lived(const Situation& situation, const std::function<void(App&)>& piece);

/// The latest moment and the highest number of a history, for the life that begins after it.
void goBeyond(Situation& situation, HistoryView history);
/// The disk after this history.
DiskImage diskAfter(const DiskImage& begin, HistoryView history);

}  // namespace harvelstone::testing
