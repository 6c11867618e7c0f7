// The defaults of the session-scoped values, so that a fresh install has a whole session section. Stores nothing. Any
// thread.

#include "harvelstone/services/session_data.hpp"

#include "harvelstone/platform/NeverDestroyed.hpp"
#include "harvelstone/services/StaticValues.hpp"

namespace harvelstone {

namespace {

using KeyAccessor = const std::string& (*)();

// HV_SOURCE_CLICK_TIME is not among them: where nothing was clicked, there is no time.
constexpr KeyAccessor texts[] = {
    &StaticValues::PARAM_PDTK,
    &StaticValues::PARAM_MVT1,
    &StaticValues::PARAM_MVT2,
    &StaticValues::PARAM_MVT3,
    &StaticValues::PARAM_MAT_SOURCE,
    &StaticValues::PARAM_MAT_MEDIUM,
    &StaticValues::PARAM_MAT_KWD,
    &StaticValues::PARAM_MAT_CAMPAIGN,
    &StaticValues::PARAM_MAT_AFFILIATE,
    &StaticValues::PARAM_MAT_AFFILIATE_SUB,
    &StaticValues::PARAM_MAT_UPDATE_SID,
    &StaticValues::PARAM_WA_CAMPAIGN,
    &StaticValues::PARAM_WA_SOURCE,
    &StaticValues::PARAM_WA_APP,
    &StaticValues::PARAM_WA_CLASSIFICATION,
    &StaticValues::PARAM_WA_AD,
    &StaticValues::PARAM_WA_LOCATION,
    &StaticValues::PARAM_WA_KEYWORD,
    &StaticValues::PARAM_IAT_SOURCE,
    &StaticValues::PARAM_IAT_MEDIUM,
    &StaticValues::PARAM_IAT_KWD,
    &StaticValues::PARAM_IAT_CAMPAIGN,
    &StaticValues::PARAM_IAT_AFFILIATE,
    &StaticValues::PARAM_IAT_AFFILIATE_SUB,
    &StaticValues::PARAM_FB_SOURCE,
    &StaticValues::PARAM_UTM_CAMPAIGN,
    &StaticValues::PARAM_UTM_CONTENT,
    &StaticValues::PARAM_UTM_MEDIUM,
    &StaticValues::PARAM_UTM_SOURCE,
    &StaticValues::PARAM_UTM_TERM,
    &StaticValues::PARAM_GCLID,
    &StaticValues::PARAM_ICMP,
    &StaticValues::PARAM_ICMP_TRACE,
    &StaticValues::PARAM_PUSH_MESSAGE_KEY,
    &StaticValues::SAR_INFO,
};

constexpr KeyAccessor numbers[] = {
    &StaticValues::PARAM_MAT_UPDATE_TIME,
    &StaticValues::PARAM_CONV_TP,
};

constexpr KeyAccessor lists[] = {
    &StaticValues::PARAM_MAT_SOURCE_TRACE,
    &StaticValues::PARAM_MAT_CAMPAIGN_TRACE,
};

Dictionary allDefaults() {
    Dictionary defaults;
    for (const auto key : texts) defaults.emplace(key(), "");
    for (const auto key : numbers) defaults.emplace(key(), 0);
    for (const auto key : lists) defaults.emplace(key(), List());
    return defaults;
}

}  // namespace

std::optional<Value> sessionDefault(std::string_view key) {
    static platform::NeverDestroyed<const Dictionary> defaults(allDefaults());
    return findValue(*defaults, key);
}

}  // namespace harvelstone
