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

constexpr std::string_view installSettings[] = {"uuid", "venId", "installDate", "installTimeMillis"};

Dictionary dictionaryUnder(const Dictionary& values, std::string_view key) {
    const auto value = findValue(values, key);
    return value && value->dictionary() ? *value->dictionary() : Dictionary();
}

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

/// Cleared, or a value that the setting may have.
bool isUsable(SettingKind kind, const Value& stored) { return stored.isNull() || fits(kind, stored); }

}  // namespace

bool addInstallSettings(Dictionary& stored) {
    const auto isMissing = [&](std::string_view name) {
        const auto found = stored.find(name);
        return found == stored.end() || !isUsable(SettingKind::textOrNumber, found->second);
    };
    const auto& platform = Platform::current();
    Dictionary made;
    if (isMissing("uuid")) made.emplace("uuid", platform.device->uuidText());
    if (isMissing("venId")) made.emplace("venId", platform.device->uuidText());
    if (isMissing("installDate")) made.emplace("installDate", platform::dateString(platform.clock->now()));
    if (isMissing("installTimeMillis"))
        made.emplace("installTimeMillis", Value(platform.clock->now() * millisOfSecond).integerValue());
    for (const auto& [name, value] : made) stored.insert_or_assign(name, value);
    return !made.empty();
}

void joinSettings(Dictionary& put, const Dictionary& stored, std::string_view key) {
    auto joined = dictionaryUnder(put, key);
    const auto before = dictionaryUnder(stored, key);
    for (const auto name : installSettings)
        if (const auto found = before.find(name); found != before.end())
            joined.insert_or_assign(found->first, found->second);
    joined.insert(before.begin(), before.end());
    if (!joined.empty()) put.insert_or_assign(std::string(key), std::move(joined));
}

Dictionary pictureOf(const Dictionary& stored) {
    auto picture = defaults();
    for (const auto& setting : configurationSettings) {
        const auto found = stored.find(setting.name);
        if (found != stored.end() && isUsable(setting.kind, found->second))
            picture.insert_or_assign(std::string(setting.name), found->second);
    }
    return picture;
}

}  // namespace harvelstone
