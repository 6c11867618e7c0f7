#include "harvelstone/platform/Value.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Utf8.hpp"

namespace harvelstone {
namespace {

using platform::InvalidArgumentException;

double checkedNumber(double number) {
    if (!std::isfinite(number)) throw InvalidArgumentException("a number that is infinite or not a number has no JSON");
    return number;
}

std::string checkedText(std::string text) {
    return platform::isValidUtf8(text) ? std::move(text) : platform::repairedUtf8(text);
}

std::int64_t truncated(double number) {
    constexpr double limit = 0x1p63;  // the first double above the 64-bit range; its negative is the lowest in it
    if (number >= limit) return std::numeric_limits<std::int64_t>::max();
    if (number < -limit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(number);
}

template <typename Box>
auto dictionaryIn(Box* box) {
    return box == nullptr || box->empty() ? nullptr : &box->front();
}

}  // namespace

Value::Value(double number) : content_(checkedNumber(number)) {}

Value::Value(std::string text) : content_(checkedText(std::move(text))) {}

Value::Value(List list) : content_(std::move(list)) {}

Value::Value(Dictionary dictionary) : content_(Box()) { std::get<Box>(content_).push_back(std::move(dictionary)); }

Value::Value(const Value& other) = default;

Value::Value(Value&& other) noexcept = default;

Value& Value::operator=(const Value& other) = default;

Value& Value::operator=(Value&& other) noexcept = default;

Value::~Value() = default;

const Dictionary* Value::dictionary() const { return dictionaryIn(std::get_if<Box>(&content_)); }

Dictionary* Value::dictionary() { return dictionaryIn(std::get_if<Box>(&content_)); }

std::int64_t Value::integerValue() const {
    if (const auto* integer = std::get_if<std::int64_t>(&content_)) return *integer;
    if (const auto* number = std::get_if<double>(&content_)) return truncated(*number);
    const auto* flag = boolean();
    return flag != nullptr && *flag ? 1 : 0;
}

double Value::doubleValue() const {
    if (const auto* number = std::get_if<double>(&content_)) return *number;
    return static_cast<double>(integerValue());
}

std::int64_t integerValue(const std::optional<Value>& value) { return value ? value->integerValue() : 0; }

double doubleValue(const std::optional<Value>& value) { return value ? value->doubleValue() : 0; }

void setValue(Dictionary& dictionary, std::string_view key, std::optional<Value> value) {
    if (!value || value->isNull()) throw InvalidArgumentException("no value for key \"" + std::string(key) + "\"");
    dictionary.insert_or_assign(std::string(key), *std::move(value));
}

std::optional<Value> findValue(const Dictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(key);
    if (found == dictionary.end() || found->second.isNull()) return std::nullopt;
    return found->second;
}

// Level by level, so that it can judge a value that is nested too deep for a recursion.
std::size_t nestingDepth(const Value& value) {
    if (value.list() == nullptr && value.dictionary() == nullptr) return 0;  // most of them
    std::vector<const Value*> level{&value};
    for (std::size_t depth = 0;; ++depth) {
        std::vector<const Value*> nextLevel;
        bool hasContainer = false;
        for (const auto* one : level) {
            hasContainer = hasContainer || one->list() != nullptr || one->dictionary() != nullptr;
            if (const auto* list = one->list()) {
                for (const auto& element : *list) nextLevel.push_back(&element);
            } else if (const auto* dictionary = one->dictionary()) {
                for (const auto& member : *dictionary) nextLevel.push_back(&member.second);
            }
        }
        if (!hasContainer) return depth;
        level = std::move(nextLevel);
    }
}

}  // namespace harvelstone
