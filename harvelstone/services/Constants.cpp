// The constants as lists, made from constants_table.hpp, and the way from an accessor's name to its text. Stores
// nothing. Any thread.

#include "harvelstone/services/Constants.hpp"

#include <map>

#include "harvelstone/platform/NeverDestroyed.hpp"
#include "harvelstone/services/constants_table.hpp"

namespace harvelstone {

namespace {

using platform::NeverDestroyed;

std::map<std::string_view, std::string_view> textsByAccessor() {
    std::map<std::string_view, std::string_view> texts;
    for (const auto& constant : staticValuesTable()) texts.emplace(constant.accessor, constant.text);
    for (const auto& constant : trackTypeTable()) texts.emplace(constant.accessor, constant.text);
    return texts;
}

}  // namespace

#define HARVELSTONE_ROW(name, text) NamedConstant{#name, text},

const std::vector<NamedConstant>& staticValuesTable() {
    static NeverDestroyed<const std::vector<NamedConstant>> table(
        std::vector<NamedConstant>{HARVELSTONE_STATIC_VALUES(HARVELSTONE_ROW)});
    return *table;
}

const std::vector<NamedConstant>& trackTypeTable() {
    static NeverDestroyed<const std::vector<NamedConstant>> table(
        std::vector<NamedConstant>{HARVELSTONE_TRACK_TYPES(HARVELSTONE_ROW)});
    return *table;
}

#undef HARVELSTONE_ROW

std::string constantText(std::string_view accessorOrText) {
    static NeverDestroyed<const std::map<std::string_view, std::string_view>> texts(textsByAccessor());
    const auto found = (*texts).find(accessorOrText);
    return std::string(found == (*texts).end() ? accessorOrText : found->second);
}

}  // namespace harvelstone
