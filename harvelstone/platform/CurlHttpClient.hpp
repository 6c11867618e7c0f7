#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "harvelstone/platform/HttpClient.hpp"

namespace harvelstone::platform {

/// Every bound that keeps a broken or hostile server from holding a worker or the memory, with its reason.
struct HttpLimits {
    /// Name look-up, connection and TLS together. A server that takes longer is as good as away.
    std::chrono::milliseconds connect{10'000};
    /// Below one byte a second for so long, in either direction, counts as silence. Mobile links stall for a few
    /// seconds when the cell changes; half a minute is beyond that.
    std::chrono::seconds silence{30};
    /// The whole request with its redirects. A document takes seconds even on the slowest link, so that this bounds
    /// only a server that answers a byte at a time.
    std::chrono::milliseconds total{300'000};
    /// The body of the reply. Instructions are some hundred bytes; a body beyond this is none of our server's. Read, it
    /// takes up to thirty times as much memory, more than once.
    std::size_t replyBytes = 64 * 1024;
    /// All the header lines of the reply together: what usual servers allow in a request.
    std::size_t replyHeadBytes = 64 * 1024;
    /// How many redirects are followed: a moved host, a forced https and a load balancer leave room to spare.
    int redirects = 5;
};

struct CurlSettings {
    HttpLimits limits;
    /// A PEM file of the authorities that a server's certificate may come from, instead of the system's; empty: those
    /// of the system. One that cannot be read, or holds no certificate, raises InvalidArgumentException when the client
    /// is made: every request would fail for it.
    std::string certificateAuthorities;
};

/// HTTP over libcurl.
///
/// The transfer runs on the request's queue and holds the queue's thread until it ends; the completion follows on the
/// same queue. Connections are kept and used again by later requests. Redirects keep method and body, and never lead
/// from https to http. TLS is verified, certificates and names. No cookie is ever kept or sent, whatever a request
/// says, and a compressed reply is given as it came. Status codes are not judged: an answer is an answer. When there
/// is none, or it breaks one of the limits, the data is absent and the error says why.
///
/// A URL that is no http or https URL with a host, or that holds credentials, a blank, a control character or NUL,
/// raises InvalidArgumentException; so does a header that would break the request's head. The first client sets libcurl
/// up, in less than a millisecond; connections are made by requests.
class CurlHttpClient final : public HttpClient {
  public:
    explicit CurlHttpClient(CurlSettings settings = {});
    ~CurlHttpClient() override;
    CurlHttpClient(const CurlHttpClient&) = delete;
    CurlHttpClient& operator=(const CurlHttpClient&) = delete;

    void sendAsynchronousRequest(HttpRequest request, std::shared_ptr<RunLoop> queue,
                                 HttpCompletion completionHandler) override;

  private:
    class Pool;
    std::shared_ptr<Pool> pool_;
};

}  // namespace harvelstone::platform
