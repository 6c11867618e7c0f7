#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/HttpClient.hpp"

namespace harvelstone::platform {

bool isHeaderNamed(const HttpHeader& header, std::string_view name);

/// The number in the request's "Content-Length" header, absent without such a header. One that is no decimal number
/// raises InvalidArgumentException.
std::optional<std::int64_t> declaredLength(const HttpRequest& request);

/// One request on its way and what has come back of its answer, held to the limits.
///
/// Nothing here raises, since a library written in C calls it: what goes wrong, in the body stream too, ends the
/// exchange and is kept as its failure.
class HttpExchange {
  public:
    HttpExchange(const HttpRequest& request, const HttpLimits& limits);

    /// The next bytes of the body, 0 at its end; absent to give up. Never more than "Content-Length" announced, and a
    /// body that ends before gives up, for the server would wait for the rest.
    std::optional<std::size_t> readBody(std::span<char> buffer) noexcept;
    /// Starts over with the body; false to give up.
    bool rewindBody() noexcept;
    /// Takes a line of the reply's head; a status line begins a new head. False to give up.
    bool takeHeadLine(std::string_view line) noexcept;
    /// Counts bytes of the reply behind its head as they came, chunk sizes and trailers among them, which no other call
    /// here sees while they have no end. Gives up by its failure alone.
    void countReceived(std::size_t bytes) noexcept;
    /// Takes bytes of the reply's body; false to give up.
    bool takeData(std::string_view bytes) noexcept;

    /// Why it was given up; absent when it was not.
    const std::optional<std::string>& failure() const { return failure_; }
    HttpResponse takeResponse() { return std::move(response_); }
    std::string takeReply() { return std::move(reply_); }

  private:
    template <typename Step>
    bool guarded(Step step) noexcept;
    void fail(std::string reason) { failure_ = std::move(reason); }

    BodyStream* body_;
    std::optional<std::int64_t> length_;
    std::int64_t sent_ = 0;
    HttpLimits limits_;
    HttpResponse response_;
    std::size_t headBytes_ = 0;
    std::size_t receivedBytes_ = 0;
    std::string reply_;
    std::optional<std::string> failure_;
};

}  // namespace harvelstone::platform
