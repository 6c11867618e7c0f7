// The many names of a setting, and the one under which it is stored.

#include "tools/setting_names.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <span>

#include "harvelstone/services/Configuration.hpp"
#include "harvelstone/services/Constants.hpp"
#include "harvelstone/services/ProfileManager.hpp"

namespace harvelstone::tools {

namespace {

struct OtherName {
    std::string_view word;
    std::string_view name;
};

// Accessors stand for themselves and for their texts.
constexpr std::array configurationWords{
    OtherName{"PARAM_AK", "ak"},
    OtherName{"PARAM_AP_VR", "apVr"},
    OtherName{"PARAM_CNTR", "cntr"},
    OtherName{"PARAM_DEBUG", "debug"},
    OtherName{"PARAM_IMEI", "imei"},
    OtherName{"PARAM_INSTALL_DATE", "installDate"},
    OtherName{"PARAM_INSTALL_TIMEMILLIS", "installTimeMillis"},
    OtherName{"PARAM_LNG", "lng"},
    OtherName{"PARAM_MACHINE", "machine"},
    OtherName{"PARAM_OS", "os"},
    OtherName{"PARAM_PFNO", "pfno"},
    OtherName{"PARAM_SR", "sr"},
    OtherName{"PARAM_TEL_COM", "telCom"},
    OtherName{"PARAM_TZ", "tz"},
    OtherName{"PARAM_UUID", "uuid"},
    OtherName{"PARAM_VENID", "venId"},
    OtherName{"PARAM_WIFI_TP", "wifiTp"},
    OtherName{"appKey", "ak"},
    OtherName{"appVersion", "apVr"},
    OtherName{"returnVisitDays", "returnVisitDate"},
    OtherName{"vendorId", "venId"},
};

constexpr std::array profileWords{
    OtherName{"PARAM_ADVID", "advId"},       OtherName{"PARAM_ADVID_FLAG", "advIdFlag"},
    OtherName{"PARAM_AGE", "age"},           OtherName{"PARAM_GENDER", "gender"},
    OtherName{"PARAM_LTRVNC", "ltrvnc"},     OtherName{"PARAM_LTRVNI", "ltrvni"},
    OtherName{"PARAM_MBR", "mbr"},           OtherName{"PARAM_MBR_CD", "memberCd"},
    OtherName{"PARAM_MBR_LVL", "memberLvl"}, OtherName{"PARAM_UD_RVNC", "udRvnc"},
    OtherName{"PARAM_USER_ID", "userId"},    OtherName{"PARAM_UVP1", "uvp1"},
    OtherName{"PARAM_UVP2", "uvp2"},         OtherName{"PARAM_UVP3", "uvp3"},
    OtherName{"PARAM_UVP4", "uvp4"},         OtherName{"PARAM_UVP5", "uvp5"},
    OtherName{"advertisingId", "advId"},     OtherName{"advertisingIdAllowed", "advIdFlag"},
};

/// "apVr" from "getApVr"; any other word as it is.
std::string withoutGet(std::string_view word) {
    constexpr std::string_view get = "get";
    std::string name(word);
    if (word.starts_with(get) && word.size() > get.size()) {
        name.erase(0, get.size());
        name[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[0])));
    }
    return name;
}

std::optional<std::string> find(std::string_view word, std::span<const std::string_view> names,
                                std::span<const OtherName> otherNames) {
    const auto name = withoutGet(word);
    if (std::find(names.begin(), names.end(), name) != names.end()) return name;
    for (const auto& other : otherNames) {
        if (word == other.word || word == constantText(other.word)) return std::string(other.name);
    }
    return std::nullopt;
}

}  // namespace

std::optional<SettingName> findSetting(std::string_view word) {
    if (word == "visitTimeout") return SettingName{SettingPlace::visitTimeout, std::string(word)};
    if (auto name = find(word, configurationNames(), configurationWords)) {
        return SettingName{SettingPlace::configuration, *std::move(name)};
    }
    if (auto name = findProfileValue(word)) return SettingName{SettingPlace::profile, *std::move(name)};
    return std::nullopt;
}

std::optional<std::string> findProfileValue(std::string_view word) { return find(word, profileNames(), profileWords); }

}  // namespace harvelstone::tools
