#pragma once

#include <memory>
#include <optional>
#include <string>

#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/HttpClient.hpp"

namespace harvelstone::platform {

/// What a completion is told.
struct HttpOutcome {
    HttpResponse response;
    std::optional<std::string> data;
    std::optional<HttpError> error;
};

/// A libcurl handle with the connections that it keeps open from one request to the next. Used by one thread at a time.
class CurlConnection {
  public:
    /// Sets libcurl up, for the first connection. Not left to a worker: if the host exits at this very time, the TLS
    /// library is taken down in the middle of it.
    static void prepareLibrary();

    /// Raises Exception when libcurl cannot be set up.
    CurlConnection();
    ~CurlConnection();
    CurlConnection(const CurlConnection&) = delete;
    CurlConnection& operator=(const CurlConnection&) = delete;

    /// Sends the request and waits for its answer, following redirects. Raises Exception when libcurl lacks something
    /// that the request needs.
    HttpOutcome perform(const HttpRequest& request, const CurlSettings& settings);

  private:
    class Transfer;
    struct Handles;

    void open();
    void close();

    std::unique_ptr<Handles> handles_;
};

}  // namespace harvelstone::platform
