#include "harvelstone/platform/Describe.hpp"

#include "harvelstone/platform/Json.hpp"

namespace harvelstone::platform {

std::string describe(const std::string& text) { return text; }

std::string describe(const Value& value) {
    if (value.isNull()) return "(null)";
    if (const auto* text = value.string()) return *text;
    return jsonText(value);
}

std::string describe(const Dictionary& dictionary) { return jsonText(dictionary); }

std::string describe(const std::vector<std::string>& texts) { return jsonText(List(texts.begin(), texts.end())); }

std::string describe(const Exception& exception) { return exception.reason(); }

std::string describe(const std::error_code& error) { return error.message(); }

}  // namespace harvelstone::platform
