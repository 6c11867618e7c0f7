#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// The names under which settings are given and stored: each getter's name without "get", first letter in lower case
/// ("targetUri", "apVr", "returnVisitDate", ...).
std::span<const std::string_view> configurationNames();

/// The current configuration: an immutable picture of the settings. A getter answers absent where a setting was
/// cleared; a fresh install has a value for every one but the carrier.
class Configuration {
  public:
    explicit Configuration(Dictionary settings) : settings_(std::move(settings)) {}

    std::optional<Value> getTargetUri() const;  ///< the upload address
    std::optional<Value> getApVr() const;       ///< the app's version
    bool getDebug() const;
    std::optional<Value> getAk() const;  ///< the app key
    std::int64_t getPfno() const;        ///< the platform's number
    std::optional<Value> getUuid() const;
    std::optional<Value> getImei() const;
    std::optional<Value> getVenId() const;  ///< the vendor's identifier of the device
    std::optional<Value> getInstallDate() const;
    std::optional<Value> getInstallTimeMillis() const;  ///< milliseconds since 1970
    std::optional<Value> getOs() const;
    std::optional<Value> getTelCom() const;  ///< the carrier
    std::optional<Value> getWifiTp() const;  ///< the connection's type
    std::optional<Value> getSr() const;      ///< the screen, "1080x2400"
    std::optional<Value> getCntr() const;
    std::optional<Value> getLng() const;
    std::optional<Value> getMachine() const;
    std::optional<Value> getTz() const;
    std::int64_t getReturnVisitDate()
        const;  ///< days within which a visit counts as a return visit; below 1: not counted

  private:
    Dictionary settings_;
};

}  // namespace harvelstone
