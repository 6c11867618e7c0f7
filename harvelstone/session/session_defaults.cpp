// Counts a new visit and writes the visit's own keys into the session section. Reads and writes PARAM_LTVT in the
// document DB map; the other counters move in visit_counters.cpp. Runs on the thread that creates the document.

#include <fmt/format.h>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/session/visit_rules.hpp"

namespace harvelstone {

namespace {

/// Counts one more visit; gives the new count.
std::int64_t countVisit(DocumentManager& manager, std::int64_t visitsBefore) {
    const auto visits = oneMore(visitsBefore);
    (*documentDB)->putInt(StaticValues::PARAM_LTVT(), visits);
    if (visitsBefore == 0) {
        profiler->initOrderPTime();
        profiler->setInstallReferrer();
    }
    manager.updateLtvi();
    manager.updateUdVt();
    return visits;
}

}  // namespace

Dictionary DocumentManager::putSessionDefault(Dictionary session, const std::string& documentId) {
    const auto visitNew = sessionManager->getVisitNew(documentId, /*isReadOnly=*/false);
    auto visits = getLtvt();
    if (visitNew == "Y") visits = countVisit(*this, visits);
    BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_CONFIG_LTVT : {} / {} ", static_cast<std::int32_t>(visits),
                                platform::describe(visitNew)));

    setValue(session, StaticValues::PARAM_RESPONSE_TP(), "json");
    setValue(session, StaticValues::PARAM_LTVT(), visits);
    setValue(session, StaticValues::PARAM_SID(), sessionManager->getSid(std::nullopt));
    const auto sessionId = sessionManager->getSession(std::nullopt);
    setValue(session, StaticValues::PARAM_SLOT_NO(), sessionManager->getSlotNo(sessionId));
    setValue(session, StaticValues::PARAM_VISIT_NEW(), visitNew);
    setValue(session, StaticValues::PARAM_VT_TZ(), sessionManager->getVtTz(sessionId));
    // Both look at the time of the latest document, which the second then replaces: the order matters.
    setValue(session, StaticValues::PARAM_IS_WEEKELY_US(), getWeeklyUniqueUsType(visitNew));
    setValue(session, StaticValues::PARAM_IS_UNI_VT(), getUniVt(visitNew));
    setValue(session, StaticValues::PARAM_PROFILE_ID(), getbunddleId());
    return session;
}

std::string DocumentManager::getbunddleId() { return platform::Platform::current().device->bundleIdentifier(); }

}  // namespace harvelstone
