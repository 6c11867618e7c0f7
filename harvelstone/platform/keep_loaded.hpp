#pragma once

namespace harvelstone::platform {

/// Keeps the code of this library in memory until the process ends, whatever the host unloads: the shared library, or
/// the host's plug-in that it was linked into. Threads of ours may run in it, and handlers of the process's end and of
/// forks lead into it.
void keepLoaded();

}  // namespace harvelstone::platform
