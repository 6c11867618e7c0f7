#include "harvelstone/platform/HttpExchange.hpp"

#include <algorithm>
#include <charconv>
#include <exception>
#include <fmt/format.h>
#include <strings.h>
#include <utility>

#include "harvelstone/platform/Exception.hpp"

namespace harvelstone::platform {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Absent unless the whole text is a decimal number that is not negative.
std::optional<std::int64_t> wholeNumber(std::string_view text) {
    std::int64_t number = 0;
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < 0) return std::nullopt;
    return number;
}

/// 0 when the line has none.
int statusIn(std::string_view statusLine) {
    const auto blank = statusLine.find(' ');
    if (blank == std::string_view::npos) return 0;
    return static_cast<int>(wholeNumber(statusLine.substr(blank + 1, 3)).value_or(0));
}

}  // namespace

bool isHeaderNamed(const HttpHeader& header, std::string_view name) {
    return header.name.size() == name.size() && strncasecmp(header.name.c_str(), name.data(), name.size()) == 0;
}

std::optional<std::int64_t> declaredLength(const HttpRequest& request) {
    const auto header = std::find_if(request.headers.begin(), request.headers.end(),
                                     [](const HttpHeader& each) { return isHeaderNamed(each, "Content-Length"); });
    if (header == request.headers.end()) return std::nullopt;
    const auto length = wholeNumber(header->value);
    if (!length) throw InvalidArgumentException(fmt::format("Content-Length \"{}\" is no length", header->value));
    return length;
}

HttpExchange::HttpExchange(const HttpRequest& request, const HttpLimits& limits)
    : body_(request.body.get()), length_(declaredLength(request)), limits_(limits) {}

/// Runs a step that says why it gives up, if it does.
template <typename Step>
bool HttpExchange::guarded(Step step) noexcept {
    try {
        step();
    } catch (const std::exception& exception) {
        fail(exception.what());
    } catch (...) {
        fail("an exception of an unknown kind");
    }
    return !failure_;
}

std::optional<std::size_t> HttpExchange::readBody(std::span<char> buffer) noexcept {
    std::size_t count = 0;
    const bool goesOn = guarded([&] {
        if (length_) buffer = buffer.first(std::min(buffer.size(), static_cast<std::size_t>(*length_ - sent_)));
        if (body_ && !buffer.empty()) count = body_->read(buffer);
        sent_ += static_cast<std::int64_t>(count);
        if (count == 0 && length_ && sent_ < *length_)
            fail(fmt::format("the body ended after {} of {} announced bytes", sent_, *length_));
    });
    return goesOn ? std::optional(count) : std::nullopt;
}

bool HttpExchange::rewindBody() noexcept {
    return guarded([this] {
        if (body_) body_->rewind();
        sent_ = 0;
    });
}

bool HttpExchange::takeHeadLine(std::string_view line) noexcept {
    return guarded([&] {
        headBytes_ += line.size();
        if (headBytes_ > limits_.replyHeadBytes) {
            fail(fmt::format("the head of the reply is larger than {} bytes", limits_.replyHeadBytes));
        } else if (line.starts_with("HTTP/")) {
            response_ = {.status = statusIn(line), .headers = {}};
        } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
            response_.headers.push_back(
                {std::string(trimmed(line.substr(0, colon))), std::string(trimmed(line.substr(colon + 1)))});
        }
    });
}

void HttpExchange::countReceived(std::size_t bytes) noexcept {
    guarded([&] {
        receivedBytes_ += bytes;
        if (receivedBytes_ > limits_.replyBytes + limits_.replyHeadBytes)
            fail(fmt::format("the reply takes more than {} bytes around its body", limits_.replyHeadBytes));
    });
}

bool HttpExchange::takeData(std::string_view bytes) noexcept {
    return guarded([&] {
        if (bytes.size() > limits_.replyBytes - reply_.size()) {
            fail(fmt::format("the reply is larger than {} bytes", limits_.replyBytes));
        } else {
            reply_.append(bytes);
        }
    });
}

}  // namespace harvelstone::platform
