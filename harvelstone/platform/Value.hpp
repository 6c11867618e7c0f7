#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace harvelstone {

class Value;

/// An ordered sequence of values.
using List = std::vector<Value>;

/// Values by text key. The order of iteration is the order of the keys' bytes, so output is in one fixed order.
using Dictionary = std::map<std::string, Value, std::less<>>;

/// One value that can always be written as JSON: null, boolean, 64-bit signed integer, double, text, list or
/// dictionary.
///
/// The kinds never melt into each other: 42.0 stays a double, true is never 1. Text that is not valid UTF-8 is
/// repaired on the way in, each bad byte becoming U+FFFD. A double that JSON cannot hold (NaN, an infinity) raises
/// platform::InvalidArgumentException. An unsigned integer above the signed range becomes a double.
///
/// A plain value: copies are independent, and distinct objects may be used from distinct threads.
class Value {
  public:
    Value() = default;
    Value(std::nullptr_t) {}
    template <std::same_as<bool> Boolean>
    Value(Boolean boolean) : content_(boolean) {}
    template <std::integral Integer>
    requires(!std::same_as<Integer, bool>) Value(Integer integer) : content_(fromInteger(integer)) {}
    Value(double number);
    Value(std::string text);
    Value(std::string_view text) : Value(std::string(text)) {}
    Value(const char* text) : Value(std::string(text)) {}
    Value(List list);
    Value(Dictionary dictionary);

    // Not inline: the code for all kinds would stand at each of their many uses.
    Value(const Value& other);
    Value(Value&& other) noexcept;
    Value& operator=(const Value& other);
    Value& operator=(Value&& other) noexcept;
    ~Value();

    bool isNull() const { return std::holds_alternative<std::nullptr_t>(content_); }
    bool isBoolean() const { return std::holds_alternative<bool>(content_); }
    bool isInteger() const { return std::holds_alternative<std::int64_t>(content_); }
    bool isDouble() const { return std::holds_alternative<double>(content_); }
    bool isNumber() const { return isInteger() || isDouble(); }

    /// The content if it is of that kind, else a null pointer. The pointer lives as long as the value is unchanged.
    const bool* boolean() const { return std::get_if<bool>(&content_); }
    const std::string* string() const { return std::get_if<std::string>(&content_); }
    const List* list() const { return std::get_if<List>(&content_); }
    const Dictionary* dictionary() const;
    List* list() { return std::get_if<List>(&content_); }
    Dictionary* dictionary();

    /// The number as an integer, a double truncated toward zero and held to the 64-bit range; a boolean reads 1 or 0,
    /// every other kind 0.
    std::int64_t integerValue() const;
    /// The number as a double; a boolean reads 1 or 0, every other kind 0.
    double doubleValue() const;

    friend bool operator==(const Value&, const Value&) = default;

  private:
    /// Holds one dictionary, or none after it was moved from. A dictionary in the value itself would make all values as
    /// large as it is, and a document is thousands of them.
    using Box = std::vector<Dictionary>;
    using Content = std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, List, Box>;

    template <typename Integer>
    static Content fromInteger(Integer integer) {
        if (std::in_range<std::int64_t>(integer)) return static_cast<std::int64_t>(integer);
        return static_cast<double>(integer);
    }

    Content content_;
};

/// Absent reads 0, like a value that is no number.
std::int64_t integerValue(const std::optional<Value>& value);
double doubleValue(const std::optional<Value>& value);

/// Puts a value into a section or a record. An absent or null value raises platform::InvalidArgumentException, whose
/// reason names the key, and leaves the dictionary as it was.
void setValue(Dictionary& dictionary, std::string_view key, std::optional<Value> value);

/// The value under the key; absent when the key is missing or holds null.
std::optional<Value> findValue(const Dictionary& dictionary, std::string_view key);

/// How many containers are nested in each other at the deepest place: 0 for a scalar, 1 for a flat list.
std::size_t nestingDepth(const Value& value);

/// Values nested deeper than this are refused where they enter a store.
inline constexpr std::size_t maximumNestingDepth = 512;

}  // namespace harvelstone
