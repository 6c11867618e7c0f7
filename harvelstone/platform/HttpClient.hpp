#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "harvelstone/platform/RunLoop.hpp"

namespace harvelstone::platform {

/// The body of a request, read while it is sent.
class BodyStream {
  public:
    virtual ~BodyStream() = default;
    /// Fills the buffer as far as there are bytes; 0 at the end.
    virtual std::size_t read(std::span<char> buffer) = 0;
    /// Goes back to the first byte, for a request that is sent again.
    virtual void rewind() = 0;
};

/// A body stream over bytes in memory.
class MemoryBodyStream final : public BodyStream {
  public:
    explicit MemoryBodyStream(std::string bytes) : bytes_(std::move(bytes)) {}
    std::size_t read(std::span<char> buffer) override;
    void rewind() override { position_ = 0; }

  private:
    std::string bytes_;
    std::size_t position_ = 0;
};

struct HttpHeader {
    std::string name;
    std::string value;
};

/// One request. Without a "Content-Length" header the body goes out chunked.
struct HttpRequest {
    std::string url;
    std::string method = "GET";
    std::vector<HttpHeader> headers;
    std::shared_ptr<BodyStream> body;
    bool handlesCookies = true;
};

struct HttpResponse {
    int status = 0;  ///< 0: no answer
    std::vector<HttpHeader> headers;
};

struct HttpError {
    std::string reason;
};

/// What came back: the response's head, its body (absent when there was no answer, empty when the answer had none), and
/// the transport's error if there was one.
using HttpCompletion = std::function<void(const HttpResponse& response, const std::optional<std::string>& data,
                                          const std::optional<HttpError>& error)>;

/// Sends requests without waiting for the answer. Any thread may call it.
class HttpClient {
  public:
    virtual ~HttpClient() = default;

    /// Starts the request and returns at once; the completion is called once, on the queue. A URL that cannot be parsed
    /// or whose scheme is neither http nor https raises InvalidArgumentException, and no completion comes.
    virtual void sendAsynchronousRequest(HttpRequest request, std::shared_ptr<RunLoop> queue,
                                         HttpCompletion completionHandler) = 0;
};

}  // namespace harvelstone::platform
