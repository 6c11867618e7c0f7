// The debug log's switch, and the way of its lines to the platform's log. Stores nothing. Any thread; a line is written
// on the thread that logs it.

#include "harvelstone/services/BSDebugger.hpp"

#include <atomic>

#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/Platform.hpp"

namespace harvelstone {

namespace {

constinit std::atomic<bool> debugLogEnabled{false};

}  // namespace

void BSDebugger::log(std::string_view line) noexcept {
    if (!isEnabled()) return;
    const platform::HostCall call;
    platform::Platform::current().log->debugLine(line);
}

void BSDebugger::setEnabled(bool enabled) noexcept { debugLogEnabled.store(enabled); }

bool BSDebugger::isEnabled() noexcept { return debugLogEnabled.load(); }

}  // namespace harvelstone
