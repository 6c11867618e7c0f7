// The network test, answered by the device. Stores nothing. Any thread.

#include "harvelstone/services/HarvelstoneReachability.hpp"

#include "harvelstone/platform/Platform.hpp"

namespace harvelstone {

bool HarvelstoneReachability::isConnectedToNetwork() {
    return platform::Platform::current().device->isConnectedToNetwork();
}

}  // namespace harvelstone
