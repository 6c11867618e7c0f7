#pragma once

#include "harvelstone/platform/Value.hpp"
#include "harvelstone/services/Setting.hpp"

namespace harvelstone {

/// Every setting of the configuration, in the order of Configuration's getters.
inline constexpr Setting configurationSettings[] = {
    {"targetUri"},
    {"apVr"},
    {"debug", SettingKind::boolean},
    {"ak"},
    {"pfno", SettingKind::integer},
    {"uuid"},
    {"imei"},
    {"venId"},
    {"installDate"},
    {"installTimeMillis"},
    {"os"},
    {"telCom"},
    {"wifiTp"},
    {"sr"},
    {"cntr"},
    {"lng"},
    {"machine"},
    {"tz"},
    {"returnVisitDate", SettingKind::integer},
};

/// Adds what an installation makes once and keeps: its identifiers, and the time of the install. A setting that is
/// there stays, a cleared one too. True when something was added.
bool addInstallSettings(Dictionary& stored);

/// Joins the settings under the key that were put before the stored ones could be read with these: what was put wins,
/// but for what an installation makes once.
void joinSettings(Dictionary& put, const Dictionary& stored, std::string_view key);

/// The settings as a picture shows them: those stored, null where one was cleared, over the defaults. The defaults come
/// from the device where it knows them. A stored value of another kind than its setting's counts as never set.
Dictionary pictureOf(const Dictionary& stored);

}  // namespace harvelstone
