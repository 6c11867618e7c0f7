#include "harvelstone/platform/network_interfaces.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netinet/in.h>
#include <string_view>

namespace harvelstone::platform {
namespace {

struct FreeAddresses {
    void operator()(ifaddrs* addresses) const { freeifaddrs(addresses); }
};

template <typename Address>
Address addressOf(const sockaddr& address) {
    Address copy{};
    std::memcpy(&copy, &address, sizeof copy);
    return copy;
}

bool isKnownElsewhere(const sockaddr* address) {
    if (!address) return false;
    if (address->sa_family == AF_INET) {
        const auto number = ntohl(addressOf<sockaddr_in>(*address).sin_addr.s_addr);
        return number >> 16U != 0xA9FEU;  // 169.254.0.0/16: what a device gives itself when no network answers
    }
    if (address->sa_family == AF_INET6) {
        const auto number = addressOf<sockaddr_in6>(*address).sin6_addr;
        return !IN6_IS_ADDR_LINKLOCAL(&number);
    }
    return false;
}

std::string_view typeOf(std::string_view name) {
    constexpr std::array<std::string_view, 1> wireless{"wl"};
    constexpr std::array<std::string_view, 4> mobile{"ww", "rmnet", "ppp", "ccmni"};
    const auto startsName = [name](std::string_view start) { return name.starts_with(start); };
    if (std::any_of(wireless.begin(), wireless.end(), startsName)) return "wifi";
    if (std::any_of(mobile.begin(), mobile.end(), startsName)) return "cellular";
    return "ethernet";
}

}  // namespace

std::vector<NetworkInterface> networkInterfaces() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return {};
    const std::unique_ptr<ifaddrs, FreeAddresses> addresses(first);
    std::vector<NetworkInterface> interfaces;
    for (const auto* entry = first; entry; entry = entry->ifa_next) {
        const auto has = [flags = entry->ifa_flags](unsigned flag) { return (flags & flag) != 0; };
        interfaces.push_back({.name = entry->ifa_name,
                              .isUp = has(IFF_UP),
                              .isRunning = has(IFF_RUNNING),
                              .isLoopback = has(IFF_LOOPBACK),
                              .isReachable = isKnownElsewhere(entry->ifa_addr)});
    }
    return interfaces;
}

std::string connectionTypeOf(const std::vector<NetworkInterface>& interfaces) {
    const auto connectsBy = [&](std::string_view type) {
        return std::any_of(interfaces.begin(), interfaces.end(), [type](const NetworkInterface& interface) {
            return interface.isUp && interface.isRunning && !interface.isLoopback && interface.isReachable &&
                   typeOf(interface.name) == type;
        });
    };
    for (const std::string_view type : {"wifi", "ethernet", "cellular"}) {
        if (connectsBy(type)) return std::string(type);
    }
    return "none";
}

}  // namespace harvelstone::platform
