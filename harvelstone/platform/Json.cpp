#include "harvelstone/platform/Json.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <fmt/format.h>
#include <mutex>
#include <simdjson.h>
#include <utility>
#include <variant>
#include <vector>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/NeverDestroyed.hpp"
#include "harvelstone/platform/Utf8.hpp"
#include "harvelstone/platform/keep_loaded.hpp"

namespace harvelstone::platform {
namespace {

namespace ondemand = simdjson::ondemand;

/// The text as the one element of a list: simdjson's handling of a scalar that stands alone has holes. Behind it is the
/// room that simdjson may read.
std::string inBrackets(std::string_view text) {
    std::string bracketed;
    bracketed.reserve(text.size() + 2 + simdjson::SIMDJSON_PADDING);
    bracketed.append("[").append(text).append("]").append(simdjson::SIMDJSON_PADDING, ' ');
    return bracketed;
}

/// Turns what simdjson finds in the text into values. Each step answers false for a text that does not parse.
///
/// It keeps the containers that are open in a list of its own: a recursion through simdjson's templates would take
/// kilobytes of stack for each.
class Reader {
  public:
    explicit Reader(std::size_t depthLimit) : depthLimit_(depthLimit) {}

    bool read(ondemand::array array, List& list) {
        open_.emplace_back(OpenList(array, list));
        while (!open_.empty()) {
            const auto readNext = [this](auto& container) { return readNextOf(container); };
            if (!std::visit(readNext, open_.back())) return false;
        }
        return true;
    }

  private:
    template <typename Source, typename Container>
    struct Open {
        Open(Source& source, Container& filled) : next(source.begin()), end(source.end()), container(&filled) {}

        decltype(std::declval<Source&>().begin()) next;
        decltype(std::declval<Source&>().end()) end;
        Container* container;
        bool isBegun = false;
    };
    using OpenList = Open<ondemand::array, List>;
    using OpenDictionary = Open<ondemand::object, Dictionary>;

    /// Reads one element, and of an element that is a container the start; or closes the container after its last one.
    template <typename Container>
    bool readNextOf(Container& container) {
        if (std::exchange(container.isBegun, true)) ++container.next;
        if (container.next != container.end) return readElement(*container.next, *container.container);
        open_.pop_back();
        return true;
    }

    bool readElement(simdjson::simdjson_result<ondemand::value> element, List& list) {
        ondemand::value source;
        return element.get(source) == simdjson::SUCCESS && read(source, list.emplace_back());
    }

    bool readElement(simdjson::simdjson_result<ondemand::field> field, Dictionary& dictionary) {
        std::string_view key;
        ondemand::value source;
        if (field.unescaped_key().get(key) != simdjson::SUCCESS) return false;
        if (field.value().get(source) != simdjson::SUCCESS) return false;
        return read(source, dictionary.insert_or_assign(std::string(key), Value()).first->second);
    }

    bool read(ondemand::value& source, Value& value) {
        ondemand::json_type type{};
        if (source.type().get(type) != simdjson::SUCCESS) return false;
        switch (type) {
            case ondemand::json_type::array:
                value = List();
                return open<OpenList>(source.get_array(), *value.list());
            case ondemand::json_type::object:
                value = Dictionary();
                return open<OpenDictionary>(source.get_object(), *value.dictionary());
            case ondemand::json_type::number:
                // What is no 64-bit integer is a double. simdjson refuses a number that overflows one, and any exponent
                // of more than 19 digits.
                return readScalar(source.get_int64(), value) || readDouble(source, value);
            case ondemand::json_type::string:
                return readScalar(source.get_string(), value);
            case ondemand::json_type::boolean:
                return readScalar(source.get_bool(), value);
            case ondemand::json_type::null:
                break;
        }
        return isNull(source.is_null());
    }

    template <typename OpenContainer, typename Source, typename Container>
    bool open(simdjson::simdjson_result<Source> result, Container& container) {
        Source source;
        const auto depth = open_.size() - 1;  // without the brackets
        if (depth == depthLimit_ || std::move(result).get(source) != simdjson::SUCCESS) return false;
        open_.emplace_back(OpenContainer(source, container));
        return true;
    }

    template <typename Scalar>
    static bool readScalar(simdjson::simdjson_result<Scalar> result, Value& value) {
        Scalar scalar{};
        if (std::move(result).get(scalar) != simdjson::SUCCESS) return false;
        value = Value(scalar);
        return true;
    }

    static bool readDouble(ondemand::value& source, Value& value) {
        const std::string_view token = source.raw_json_token();
        if (!readScalar(source.get_double(), value)) return false;
        // simdjson takes some fractions of 20 digits for others.
        constexpr std::size_t mostSafeDigits = 19;
        double exact = 0;
        if (token.size() > mostSafeDigits &&
            std::from_chars(token.data(), token.data() + token.size(), exact).ec == std::errc())
            value = Value(exact);
        return true;
    }

    static bool isNull(simdjson::simdjson_result<bool> result) {
        bool isNull = false;
        return std::move(result).get(isNull) == simdjson::SUCCESS && isNull;
    }

    std::size_t depthLimit_;
    std::vector<std::variant<OpenList, OpenDictionary>> open_;  // the innermost is the last
};

constexpr std::array<bool, 256> escapedCharacters() {
    std::array<bool, 256> escaped{};
    for (unsigned control = 0; control < ' '; ++control) escaped[control] = true;
    escaped['"'] = escaped['\\'] = true;
    return escaped;
}

bool isEscaped(char character) {
    static constexpr auto escaped = escapedCharacters();
    return escaped[static_cast<unsigned char>(character)];
}

/// Of a value's text, at least, if nothing in it has to be escaped.
std::size_t expectedSize(const Value& value);

std::size_t expectedSize(const Dictionary& dictionary) {
    std::size_t size = 2;
    for (const auto& [key, value] : dictionary) size += key.size() + 4 + expectedSize(value);
    return size;
}

std::size_t expectedSize(const Value& value) {
    constexpr std::size_t longestNumber = 24;
    if (const auto* text = value.string()) return text->size() + 2;
    if (const auto* dictionary = value.dictionary()) return expectedSize(*dictionary);
    const auto* list = value.list();
    if (list == nullptr) return longestNumber;
    std::size_t size = 2;
    for (const auto& element : *list) size += 1 + expectedSize(element);
    return size;
}

/// Appends values to a text.
class Writer {
  public:
    /// A text that grew with what is written would be in memory twice at times.
    explicit Writer(std::size_t expectedSize) { text_.reserve(expectedSize); }

    void write(const Value& value) {
        if (const auto* text = value.string()) return writeText(*text);
        if (const auto* dictionary = value.dictionary()) return write(*dictionary);
        if (const auto* list = value.list()) return write(*list);
        if (value.isNumber()) return writeNumber(value);
        const auto* flag = value.boolean();
        text_ += flag == nullptr ? "null" : *flag ? "true" : "false";
    }

    void write(const Dictionary& dictionary) {
        text_ += '{';
        const char* separator = "";
        for (const auto& [key, value] : dictionary) {
            text_ += std::exchange(separator, ",");
            isValidUtf8(key) ? writeText(key) : writeText(repairedUtf8(key));
            text_ += ':';
            write(value);
        }
        text_ += '}';
    }

    std::string takeText() { return std::move(text_); }

  private:
    void write(const List& list) {
        text_ += '[';
        const char* separator = "";
        for (const auto& value : list) {
            text_ += std::exchange(separator, ",");
            write(value);
        }
        text_ += ']';
    }

    void writeText(std::string_view text) {
        text_ += '"';
        for (auto written = text.begin();; ++written) {
            const auto next = std::find_if(written, text.end(), isEscaped);
            text_.append(written, next);
            if (next == text.end()) break;
            writeEscape(*next);
            written = next;
        }
        text_ += '"';
    }

    void writeEscape(char character) {
        constexpr std::string_view named = "\"\\\b\f\n\r\t";
        constexpr std::string_view names = "\"\\bfnrt";
        const auto index = named.find(character);
        if (index == std::string_view::npos) {
            text_ += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
        } else {
            text_ += '\\';
            text_ += names[index];
        }
    }

    void writeNumber(const Value& number) {
        std::array<char, 32> buffer{};  // the longest number takes 24
        auto* const end = buffer.data() + buffer.size();
        const auto result = number.isInteger() ? std::to_chars(buffer.data(), end, number.integerValue())
                                               : std::to_chars(buffer.data(), end, number.doubleValue());
        const std::string_view digits(buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data()));
        text_ += digits;
        if (number.isDouble() && digits.find_first_of(".e") == std::string_view::npos) text_ += ".0";
    }

    std::string text_;
};

template <typename Content>
std::string textOf(const Content& content) {
    Writer writer(expectedSize(content));
    writer.write(content);
    return writer.takeText();
}

// Guarded by the mutex that is held across a fork.
constinit bool hasExitBegun = false;

/// The exit of the process takes simdjson's own makers of parsers away, while a worker may still read. They are made
/// here, so that they go after this object: those that a worker made while the host exits could go at once.
/// Not an exit handler: one that is registered while the library is loaded may be called after all destructors.
class ExitWatch {
  public:
    ExitWatch() noexcept { static_cast<void>(simdjson::get_active_implementation()->name()); }
    ~ExitWatch() {
        const std::lock_guard lock(heldAcrossFork());
        hasExitBegun = true;
    }
    ExitWatch(const ExitWatch&) = delete;
    ExitWatch& operator=(const ExitWatch&) = delete;
};

const ExitWatch exitWatch;

/// Once the exit has begun, parsers are made by a maker that never goes.
bool allocate(ondemand::parser& parser, std::size_t capacity, std::size_t depth) {
    keepLoaded();  // a plug-in must not take the lasting one with it
    const std::lock_guard lock(heldAcrossFork());
    static NeverDestroyed<const simdjson::builtin::implementation> lasting;
    if (hasExitBegun) simdjson::get_active_implementation() = &*lasting;
    return parser.allocate(capacity, depth) == simdjson::SUCCESS;
}

}  // namespace

std::optional<Value> parseJson(std::string_view text, std::size_t depthLimit) {
    constexpr std::size_t levelsOfSimdjson = 3;  // of the document, the brackets and a scalar
    const auto padded = inBrackets(text);
    const auto bracketed = std::string_view(padded).substr(0, text.size() + 2);
    ondemand::parser parser;
    ondemand::document document;
    ondemand::array array;
    if (!allocate(parser, bracketed.size(), depthLimit + levelsOfSimdjson)) return std::nullopt;
    if (parser.iterate(bracketed, padded.size()).get(document) != simdjson::SUCCESS) return std::nullopt;
    if (document.get_array().get(array) != simdjson::SUCCESS) return std::nullopt;
    List values;
    const bool isWhole =
        Reader(depthLimit).read(array, values) && document.current_location().error() == simdjson::OUT_OF_BOUNDS;
    if (!isWhole || values.size() != 1) return std::nullopt;
    return std::move(values.front());
}

std::optional<Value> parseJsonBody(const std::optional<std::string>& body) {
    if (!body) throw InvalidArgumentException("the reply has no body");
    return parseJson(*body);
}

std::string jsonText(const Value& value) { return textOf(value); }

std::string jsonText(const Dictionary& dictionary) { return textOf(dictionary); }

std::optional<std::string> serializeJson(const Dictionary& payload, std::string& error) {
    std::size_t depth = 0;
    for (const auto& member : payload) depth = std::max(depth, nestingDepth(member.second));
    if (depth < jsonDepthLimit) return jsonText(payload);
    error = fmt::format("the payload is nested deeper than {} containers", jsonDepthLimit);
    return std::nullopt;
}

}  // namespace harvelstone::platform
