#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// What a setting or profile value may be; null, which clears it, is always allowed.
enum class SettingKind {
    textOrNumber,
    boolean,
    integer,
};

struct Setting {
    std::string_view name;
    SettingKind kind = SettingKind::textOrNumber;
};

bool fits(SettingKind kind, const Value& value);

/// "", false or 0.
Value emptyValue(SettingKind kind);

/// Null for an unknown name.
const Setting* findSetting(std::span<const Setting> table, std::string_view name);

/// Raises platform::InvalidArgumentException, naming the setting and what is wrong, unless every value stands under a
/// name of the table and fits it.
void checkSettings(std::span<const Setting> table, const Dictionary& settings);

template <std::size_t count>
constexpr std::array<std::string_view, count> namesOf(const Setting (&table)[count]) {
    std::array<std::string_view, count> names;
    for (std::size_t i = 0; i < count; ++i) names[i] = table[i].name;
    return names;
}

}  // namespace harvelstone
