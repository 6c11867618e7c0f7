#pragma once

#include <string>
#include <vector>

namespace harvelstone::platform {

/// One network interface of the device.
struct NetworkInterface {
    std::string name;  ///< as the kernel calls it, "wlan0"
    bool isUp = false;
    bool isRunning = false;    ///< has a link
    bool isLoopback = false;   ///< leads back to the device
    bool isReachable = false;  ///< has an address that other networks know, so no link-local one
};

/// The device's interfaces now, once for each of their addresses. Empty when the kernel gives no answer.
std::vector<NetworkInterface> networkInterfaces();

/// What the device is connected by: "wifi", "ethernet", "cellular", in this order when there are several, or "none".
std::string connectionTypeOf(const std::vector<NetworkInterface>& interfaces);

}  // namespace harvelstone::platform
