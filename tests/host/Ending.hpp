#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "tests/host/HostProcess.hpp"

namespace harvelstone::testing {

/// Where the library is when its host ends, and how the host ends.
struct Ending {
    std::string moment;  ///< "upload", "handshake", "repeat", "removal", "recording", "sink", "flush", "start_up"
    std::string way;     ///< "return", "exit", "quick_exit", "_exit", "signal", "handler", "dlclose"
    bool isOverTls = false;
};
std::ostream& operator<<(std::ostream& stream, const Ending& ending);

std::vector<Ending> everyEnding();

/// What the app of the plug-in has logged when the repeat waits for its time, and when both removals do.
std::vector<std::string> linesWhenRepeatWaits();
std::vector<std::string> linesWhenRemovalsWait();

/// Has a host with the library come to the moment and end. With "dlclose" it unloads the plug-in that the library is
/// in, then returns from `main`.
HostEnd endOnce(const Ending& ending);
/// The same of a host that never had the library.
HostEnd endOnceWithoutLibrary(const std::string& way);
/// Whether the status is the one that the host has meant.
bool isOrderly(const HostEnd& end, const std::string& way);

}  // namespace harvelstone::testing
