// Attribution: an install referrer's values go into the profile manager's session-scoped store (PARAM_UTM_...,
// PARAM_GCLID, PARAM_MAT_... and their PARAM_IAT_... copies), and from there into the session section. Runs on the
// caller's thread.

#include <fmt/format.h>
#include <string_view>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Describe.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/session/section_rows.hpp"

namespace harvelstone {

namespace {

/// How a value comes out of the store and stands in the section.
enum class Kind {
    text,           // as returned
    longAsDouble,   // a 64-bit integer, as a double
    describedText,  // as in a log line, so absent is "(null)"
    trace,          // a list of texts; left out for install data
    integer,
};

struct AdRow {
    KeyAccessor sectionKey;
    KeyAccessor storeKey;
    Kind kind;
};

constexpr AdRow text(KeyAccessor key) { return {key, key, Kind::text}; }

constexpr AdRow adRows[] = {
    text(&StaticValues::PARAM_MAT_SOURCE),
    text(&StaticValues::PARAM_MAT_MEDIUM),
    text(&StaticValues::PARAM_MAT_KWD),
    text(&StaticValues::PARAM_MAT_CAMPAIGN),
    text(&StaticValues::PARAM_MAT_AFFILIATE),
    text(&StaticValues::PARAM_MAT_AFFILIATE_SUB),
    {&StaticValues::HV_SOURCE_UPDATE_TIME, &StaticValues::PARAM_MAT_UPDATE_TIME, Kind::longAsDouble},
    {&StaticValues::HV_SOURCE_UPDATE_SID, &StaticValues::PARAM_MAT_UPDATE_SID, Kind::text},
    {&StaticValues::HV_SOURCE_CLICK_TIME, &StaticValues::HV_SOURCE_CLICK_TIME, Kind::describedText},
    {&StaticValues::PARAM_MAT_SOURCE_TRACE, &StaticValues::PARAM_MAT_SOURCE_TRACE, Kind::trace},
    {&StaticValues::PARAM_MAT_CAMPAIGN_TRACE, &StaticValues::PARAM_MAT_CAMPAIGN_TRACE, Kind::trace},
    text(&StaticValues::PARAM_WA_CAMPAIGN),
    text(&StaticValues::PARAM_WA_SOURCE),
    text(&StaticValues::PARAM_WA_APP),
    text(&StaticValues::PARAM_WA_CLASSIFICATION),
    text(&StaticValues::PARAM_WA_AD),
    text(&StaticValues::PARAM_WA_LOCATION),
    text(&StaticValues::PARAM_WA_KEYWORD),
    text(&StaticValues::PARAM_IAT_SOURCE),
    text(&StaticValues::PARAM_IAT_MEDIUM),
    text(&StaticValues::PARAM_IAT_KWD),
    text(&StaticValues::PARAM_IAT_CAMPAIGN),
    text(&StaticValues::PARAM_IAT_AFFILIATE),
    text(&StaticValues::PARAM_IAT_AFFILIATE_SUB),
    {&StaticValues::PARAM_CONV_TP, &StaticValues::PARAM_CONV_TP, Kind::integer},
    text(&StaticValues::PARAM_FB_SOURCE),
    text(&StaticValues::PARAM_UTM_CAMPAIGN),
    text(&StaticValues::PARAM_UTM_CONTENT),
    text(&StaticValues::PARAM_UTM_MEDIUM),
    text(&StaticValues::PARAM_UTM_SOURCE),
    text(&StaticValues::PARAM_UTM_TERM),
    text(&StaticValues::PARAM_GCLID),
    text(&StaticValues::PARAM_ICMP),
    text(&StaticValues::PARAM_ICMP_TRACE),
    text(&StaticValues::PARAM_PUSH_MESSAGE_KEY),
    text(&StaticValues::SAR_INFO),
};

std::optional<Value> fetch(const AdRow& row) {
    const auto& key = row.storeKey();
    switch (row.kind) {
        case Kind::text:
            return profiler->getSessionStringData(key);
        case Kind::longAsDouble:
            return static_cast<double>(profiler->getSessionLongData(key));
        case Kind::describedText:
            return platform::describe(profiler->getSessionStringData(key));
        case Kind::trace:
            return profiler->getSessionStringListData(key);
        case Kind::integer:
            return profiler->getSessionIntegerData(key);
    }
    return std::nullopt;
}

struct ReferrerRow {
    std::string_view accessor;
    KeyAccessor key;
    KeyAccessor installKey = nullptr;  // where a copy goes as the attribution of the install
};

constexpr ReferrerRow referrerRows[] = {
    {"PARAM_UTM_CAMPAIGN", &StaticValues::PARAM_UTM_CAMPAIGN},
    {"PARAM_UTM_SOURCE", &StaticValues::PARAM_UTM_SOURCE},
    {"PARAM_UTM_MEDIUM", &StaticValues::PARAM_UTM_MEDIUM},
    {"PARAM_UTM_TERM", &StaticValues::PARAM_UTM_TERM},
    {"PARAM_UTM_CONTENT", &StaticValues::PARAM_UTM_CONTENT},
    {"PARAM_GCLID", &StaticValues::PARAM_GCLID},
    {"PARAM_MAT_CAMPAIGN", &StaticValues::PARAM_MAT_CAMPAIGN, &StaticValues::PARAM_IAT_CAMPAIGN},
    {"PARAM_MAT_SOURCE", &StaticValues::PARAM_MAT_SOURCE, &StaticValues::PARAM_IAT_SOURCE},
    {"PARAM_MAT_MEDIUM", &StaticValues::PARAM_MAT_MEDIUM, &StaticValues::PARAM_IAT_MEDIUM},
    {"PARAM_MAT_KWD", &StaticValues::PARAM_MAT_KWD, &StaticValues::PARAM_IAT_KWD},
    {"PARAM_MAT_AFFILIATE", &StaticValues::PARAM_MAT_AFFILIATE, &StaticValues::PARAM_IAT_AFFILIATE},
    {"PARAM_MAT_AFFILIATE_SUB", &StaticValues::PARAM_MAT_AFFILIATE_SUB, &StaticValues::PARAM_IAT_AFFILIATE_SUB},
};

}  // namespace

Dictionary DocumentManager::putAdProfile(Dictionary session, bool isInstallData) {
    for (const auto& row : adRows) {
        if (isInstallData && row.kind == Kind::trace) continue;
        setValue(session, row.sectionKey(), fetch(row));
    }
    return session;
}

void DocumentManager::putInstallData(const Dictionary& referrer) {
    const StorageBatch batch;
    BSDebugger::log(
        [&] { return fmt::format("DEBUG_HARVELSTONE_INTALL_REFERRER : {}", platform::describe(referrer)); });
    for (const auto& row : referrerRows) {
        const auto value = findValue(referrer, row.key());
        if (!value) continue;
        BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_INTALL_REFERRER :{} set!.  ", row.accessor));
        profiler->putSessionStringData(row.key(), *value);
        if (row.installKey != nullptr) profiler->putSessionStringData(row.installKey(), *value);
    }
}

}  // namespace harvelstone
