// The getters of a configuration picture. Stores nothing. Any thread.

#include "harvelstone/services/Configuration.hpp"

#include "harvelstone/services/configuration_settings.hpp"

namespace harvelstone {

std::span<const std::string_view> configurationNames() {
    static constexpr auto names = namesOf(configurationSettings);
    return names;
}

std::optional<Value> Configuration::getTargetUri() const { return findValue(settings_, "targetUri"); }

std::optional<Value> Configuration::getApVr() const { return findValue(settings_, "apVr"); }

bool Configuration::getDebug() const { return integerValue(findValue(settings_, "debug")) != 0; }

std::optional<Value> Configuration::getAk() const { return findValue(settings_, "ak"); }

std::int64_t Configuration::getPfno() const { return integerValue(findValue(settings_, "pfno")); }

std::optional<Value> Configuration::getUuid() const { return findValue(settings_, "uuid"); }

std::optional<Value> Configuration::getImei() const { return findValue(settings_, "imei"); }

std::optional<Value> Configuration::getVenId() const { return findValue(settings_, "venId"); }

std::optional<Value> Configuration::getInstallDate() const { return findValue(settings_, "installDate"); }

std::optional<Value> Configuration::getInstallTimeMillis() const { return findValue(settings_, "installTimeMillis"); }

std::optional<Value> Configuration::getOs() const { return findValue(settings_, "os"); }

std::optional<Value> Configuration::getTelCom() const { return findValue(settings_, "telCom"); }

std::optional<Value> Configuration::getWifiTp() const { return findValue(settings_, "wifiTp"); }

std::optional<Value> Configuration::getSr() const { return findValue(settings_, "sr"); }

std::optional<Value> Configuration::getCntr() const { return findValue(settings_, "cntr"); }

std::optional<Value> Configuration::getLng() const { return findValue(settings_, "lng"); }

std::optional<Value> Configuration::getMachine() const { return findValue(settings_, "machine"); }

std::optional<Value> Configuration::getTz() const { return findValue(settings_, "tz"); }

std::int64_t Configuration::getReturnVisitDate() const { return integerValue(findValue(settings_, "returnVisitDate")); }

}  // namespace harvelstone
