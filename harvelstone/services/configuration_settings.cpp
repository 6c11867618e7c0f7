// What a setting is when the host has not set it: made once at the install, told by the device, or fixed. Stores
// nothing. Any thread.

#include "harvelstone/services/configuration_settings.hpp"

#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/platform/Platform.hpp"

namespace harvelstone {

namespace {

using platform::Platform;

constexpr std::int64_t millisOfSecond = 1000;

/// Days: a month is the span in which a visitor who comes back is usually called a returning one.
constexpr int usualReturnVisitLimit = 30;

Dictionary defaults() {
    auto& platform = Platform::current();
    const auto& device = *platform.device;
    return {{"targetUri", ""},
            {"apVr", ""},
            {"debug", false},
            {"ak", ""},
            {"pfno", 0},
            {"imei", ""},
            {"os", device.operatingSystem()},
            {"wifiTp", device.connectionType()},
            {"sr", ""},
            {"cntr", device.country()},
            {"lng", device.language()},
            {"machine", device.machine()},
            {"tz", platform::timeZoneOffset(platform.clock->now())},
            {"returnVisitDate", usualReturnVisitLimit}};
}

}  // namespace

bool addInstallSettings(Dictionary& stored) {
    const auto& device = *Platform::current().device;
    const double now = Platform::current().clock->now();
    const auto countBefore = stored.size();
    if (!stored.contains("uuid")) stored.emplace("uuid", device.uuidText());
    if (!stored.contains("venId")) stored.emplace("venId", device.uuidText());
    stored.try_emplace("installDate", platform::dateString(now));
    stored.try_emplace("installTimeMillis", Value(now * millisOfSecond).integerValue());
    return stored.size() != countBefore;
}

Dictionary pictureOf(const Dictionary& stored) {
    auto picture = defaults();
    for (const auto& setting : configurationSettings) {
        const auto found = stored.find(setting.name);
        if (found != stored.end() && (found->second.isNull() || fits(setting.kind, found->second)))
            picture.insert_or_assign(std::string(setting.name), found->second);
    }
    return picture;
}

}  // namespace harvelstone
