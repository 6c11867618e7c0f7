// The counters kept across visits in the document DB map: PARAM_LTVI, PARAM_UD_VT, PARAM_RECENT_VISIT_PTM and the ends
// of the unique-visitor periods (EXPIRE_TIME_DAILY, _WEEKLY, _MONTHLY, _WEEKLY_MS); PARAM_LTVT is only read here. Runs
// on the thread that creates the document.

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSUtil.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/session/section_rows.hpp"
#include "harvelstone/session/visit_rules.hpp"

namespace harvelstone {

namespace {

double storedDouble(KeyAccessor key) { return doubleValue(storedNumber(key)); }

std::int64_t storedInteger(KeyAccessor key) { return integerValue(storedNumber(key)); }

// The expiry tests take the date, not BSUtil's time.
double currentDate() { return platform::Platform::current().clock->now(); }

struct UniqueVisitPeriod {
    KeyAccessor expiryKey;
    int (*type)();
};

constexpr UniqueVisitPeriod uniqueVisitPeriods[] = {
    {&StaticValues::EXPIRE_TIME_DAILY, &BSUtil::DAILY_UNIQUE},
    {&StaticValues::EXPIRE_TIME_WEEKLY, &BSUtil::WEEKLY_UNIQUE},
    {&StaticValues::EXPIRE_TIME_MONTHLY, &BSUtil::MONTHLY_UNIQUE},
};

PassedPeriods passedPeriods() {
    const bool hasHistory = storedDouble(&StaticValues::PARAM_RECENT_VISIT_PTM) > 0;
    const double date = currentDate();
    const auto hasPassed = [&](KeyAccessor key) { return !hasHistory || date > storedDouble(key); };
    return {.day = hasPassed(&StaticValues::EXPIRE_TIME_DAILY),
            .week = hasPassed(&StaticValues::EXPIRE_TIME_WEEKLY),
            .month = hasPassed(&StaticValues::EXPIRE_TIME_MONTHLY)};
}

/// The answer of `getWeeklyUniqueUsType`; raises what its collaborators raise.
std::string renewWeeklyUser(const std::optional<std::string>& visitNew) {
    auto& log = *platform::Platform::current().log;
    const double recent = storedDouble(&StaticValues::PARAM_RECENT_VISIT_PTM);
    log.platformLine("=============== start ====================");
    BSUtil::logDateString(recent);

    const double date = currentDate();
    bool hasPassed = true;
    if (recent > 0) {
        const double expiry = storedDouble(&StaticValues::EXPIRE_TIME_WEEKLY_MS);
        BSUtil::logDateString(expiry);
        hasPassed = date > expiry;
    }

    const bool isFirst = hasPassed && visitNew == "Y";
    if (isFirst) {
        const double expiry = BSUtil::getExpireLongTimeForWeeklyUSType(BSUtil::currentTimeMillis());
        BSUtil::logDateString(expiry);
        (*documentDB)->putDouble(StaticValues::EXPIRE_TIME_WEEKLY_MS(), expiry);
    }
    std::string answer = isFirst ? "Y" : "N";
    log.platformLine("mrcm result " + answer + " ");
    log.platformLine("================= end ==================");
    return answer;
}

}  // namespace

void DocumentManager::updateLtvi() {
    const auto recent = static_cast<double>(storedInteger(&StaticValues::PARAM_RECENT_VISIT_PTM));
    const double gap = recent > 0 ? roundedDayGap(recent, BSUtil::currentTimeMillis()) : 0;
    (*documentDB)->putDouble(StaticValues::PARAM_LTVI(), storedDouble(&StaticValues::PARAM_LTVI) + gap);
}

void DocumentManager::updateUdVt() {
    const auto limit = sessionManager->getConfig()->getReturnVisitDate();
    if (limit < 1) return;
    // Unlike the lifetime interval, a first visit has a gap too: the days since 1970. Meant so.
    const double recent = storedDouble(&StaticValues::PARAM_RECENT_VISIT_PTM);
    const auto longerRun = oneMore(storedInteger(&StaticValues::PARAM_UD_VT));
    const double gap = roundedDayGap(recent, BSUtil::currentTimeMillis());
    (*documentDB)->putInt(StaticValues::PARAM_UD_VT(), returnVisitRun(longerRun, gap, limit));
}

std::int64_t DocumentManager::getUniVt(const std::optional<std::string>& visitNew) {
    const auto passed = passedPeriods();
    for (const auto& period : uniqueVisitPeriods)
        (*documentDB)
            ->putDouble(period.expiryKey(),
                        BSUtil::getExpireLongTimeForUniVt(BSUtil::currentTimeMillis(), period.type()));
    (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), BSUtil::currentTimeMillis());
    return visitNew == "Y" ? uniqueVisitAnswer(passed) : 0;
}

std::string DocumentManager::getWeeklyUniqueUsType(const std::optional<std::string>& visitNew) {
    try {
        return renewWeeklyUser(visitNew);
    } catch (const platform::Exception&) {
        // A statistic must not cost the visit its document.
        return "N";
    }
}

std::int64_t DocumentManager::getLtvt() { return storedInteger(&StaticValues::PARAM_LTVT); }

}  // namespace harvelstone
