// The check of what a host sets by name: settings and profile values. Stores nothing. Any thread.

#include "harvelstone/services/Setting.hpp"

#include <algorithm>
#include <fmt/format.h>

#include "harvelstone/platform/Exception.hpp"

namespace harvelstone {

using platform::InvalidArgumentException;

namespace {

std::string_view wording(SettingKind kind) {
    switch (kind) {
        case SettingKind::textOrNumber:
            return "a string or a number";
        case SettingKind::boolean:
            return "a boolean";
        case SettingKind::integer:
            return "a whole number";
    }
    return {};
}

}  // namespace

bool fits(SettingKind kind, const Value& value) {
    switch (kind) {
        case SettingKind::textOrNumber:
            return value.string() != nullptr || value.isNumber();
        case SettingKind::boolean:
            return value.isBoolean();
        case SettingKind::integer:
            return value.isInteger();
    }
    return false;
}

Value emptyValue(SettingKind kind) {
    switch (kind) {
        case SettingKind::textOrNumber:
            return "";
        case SettingKind::boolean:
            return false;
        case SettingKind::integer:
            return 0;
    }
    return {};
}

const Setting* findSetting(std::span<const Setting> table, std::string_view name) {
    const auto found =
        std::find_if(table.begin(), table.end(), [&](const Setting& setting) { return setting.name == name; });
    return found == table.end() ? nullptr : &*found;
}

void checkSettings(std::span<const Setting> table, const Dictionary& settings) {
    for (const auto& [name, value] : settings) {
        const auto* setting = findSetting(table, name);
        if (setting == nullptr) throw InvalidArgumentException(fmt::format("there is no setting \"{}\"", name));
        if (!value.isNull() && !fits(setting->kind, value))
            throw InvalidArgumentException(fmt::format("the setting \"{}\" must be {}", name, wording(setting->kind)));
    }
}

}  // namespace harvelstone
