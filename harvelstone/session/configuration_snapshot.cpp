// The first layer of a new document's session section: device and app as they are configured now. Reads no store of its
// own. Runs on the thread that creates the document.

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/session/section_rows.hpp"

namespace harvelstone {

namespace {

template <auto getter>
std::optional<Value> configured() {
    return (sessionManager->getConfig().get()->*getter)();
}

std::optional<Value> carrierOrEmpty() {
    const auto config = sessionManager->getConfig();
    return config->getTelCom() ? config->getTelCom() : Value("");
}

constexpr SectionRow rows[] = {
    {&StaticValues::PARAM_DEBUG, configured<&Configuration::getDebug>},
    {&StaticValues::PARAM_AK, configured<&Configuration::getAk>},
    {&StaticValues::PARAM_PFNO, configured<&Configuration::getPfno>},
    {&StaticValues::PARAM_UUID, configured<&Configuration::getUuid>},
    {&StaticValues::PARAM_IMEI, configured<&Configuration::getImei>, &HarvelstoneCore::getFlagUseImei},
    {&StaticValues::PARAM_ADVID, profiled<&ProfileManager::getAdvId>},
    {&StaticValues::PARAM_ADVID_FLAG, profiled<&ProfileManager::getAdvIdFlag>},
    {&StaticValues::PARAM_VENID, configured<&Configuration::getVenId>},
    {&StaticValues::PARAM_INSTALL_DATE, configured<&Configuration::getInstallDate>},
    {&StaticValues::PARAM_INSTALL_TIMEMILLIS, configured<&Configuration::getInstallTimeMillis>},
    {&StaticValues::PARAM_AP_VR, configured<&Configuration::getApVr>},
    {&StaticValues::PARAM_OS, configured<&Configuration::getOs>},
    {&StaticValues::PARAM_TEL_COM, carrierOrEmpty},
    {&StaticValues::PARAM_WIFI_TP, configured<&Configuration::getWifiTp>},
    {&StaticValues::PARAM_SR, configured<&Configuration::getSr>},
    {&StaticValues::PARAM_CNTR, configured<&Configuration::getCntr>},
    {&StaticValues::PARAM_LNG, configured<&Configuration::getLng>},
    {&StaticValues::PARAM_MACHINE, configured<&Configuration::getMachine>},
    {&StaticValues::PARAM_TZ, configured<&Configuration::getTz>},
};

}  // namespace

Dictionary DocumentManager::getSessionConfigJson() {
    BSDebugger::log("DEBUG_HARVELSTONE_CONFIG : getSessionConfigJson called. ");
    Dictionary session;
    insertRows(session, rows);
    return session;
}

}  // namespace harvelstone
