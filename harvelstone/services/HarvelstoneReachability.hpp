#pragma once

namespace harvelstone {

class HarvelstoneReachability {
  public:
    /// Whether the device has a network connection now.
    static bool isConnectedToNetwork();
};

}  // namespace harvelstone
