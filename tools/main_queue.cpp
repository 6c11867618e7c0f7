// The played app's main thread: what its own event loop would do.

#include "tools/main_queue.hpp"

#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/platform/HostRunLoop.hpp"

namespace harvelstone::tools {

namespace {

bool isNothingOutstanding() {
    // A retired document's removal is handed in while its upload still counts, so uploads are looked at first.
    return OutstandingWork::count(OutstandingWork::Kind::upload) == 0 &&
           OutstandingWork::count(OutstandingWork::Kind::removal) == 0;
}

}  // namespace

void pumpMainQueueFor(platform::Seconds time) { platform::HostRunLoop::mainQueue()->runFor(time); }

void settle() {
    constexpr platform::Seconds lookInterval{0.002};
    while (!isNothingOutstanding()) pumpMainQueueFor(lookInterval);
}

}  // namespace harvelstone::tools
