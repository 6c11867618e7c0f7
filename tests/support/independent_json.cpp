// Values read and shown by code that shares nothing with the library's reader.

#include "tests/support/independent_json.hpp"

#include <cstdint>
#include <nlohmann/json.hpp>

namespace harvelstone::testing {
namespace {

Value valueOf(const nlohmann::json& json) {
    if (json.is_boolean()) return json.get<bool>();
    if (json.is_number_unsigned()) return json.get<std::uint64_t>();
    if (json.is_number_integer()) return json.get<std::int64_t>();
    if (json.is_number_float()) return json.get<double>();
    if (json.is_string()) return json.get<std::string>();
    if (json.is_array()) {
        List list;
        for (const auto& element : json) list.push_back(valueOf(element));
        return list;
    }
    if (json.is_object()) {
        Dictionary dictionary;
        for (const auto& [key, member] : json.items()) dictionary.emplace(key, valueOf(member));
        return dictionary;
    }
    return nullptr;
}

}  // namespace

std::optional<Value> independentlyParsed(std::string_view text) {
    const auto json = nlohmann::json::parse(text, /*cb=*/nullptr, /*allow_exceptions=*/false);
    if (json.is_discarded()) return std::nullopt;
    return valueOf(json);
}

}  // namespace harvelstone::testing
