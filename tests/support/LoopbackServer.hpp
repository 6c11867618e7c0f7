#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace harvelstone::testing {

/// A request as it came over the wire.
struct WireRequest {
    int connection = 0;   ///< 0 for the first connection that was made, 1 for the next, ...
    std::string head;     ///< from the request line to the empty line, with all line ends
    std::string rawBody;  ///< as it came, chunk sizes included
    std::string body;     ///< the chunks joined

    std::string requestLine() const;
    /// The lines after the request line, in their order, without line ends.
    std::vector<std::string> headerLines() const;
    std::optional<std::string> header(std::string_view name) const;
};

/// The server's end of one connection while it deals with one request whose head it has read.
class WireConnection {
  public:
    WireConnection(int socket, WireRequest& request, std::string& unread)
        : socket_(socket), request_(request), unread_(unread) {}

    const WireRequest& request() const { return request_; }
    /// How much of the body came with the head.
    std::size_t bytesBehindHead() const { return unread_.size(); }
    /// Reads the rest of the request. False when the client hung up first.
    bool readBody();
    /// False once the client is gone.
    bool send(std::string_view bytes);
    /// Hangs up in order, or with a reset.
    void close();
    void reset();
    /// Says nothing more until the client hangs up.
    void waitForHangUp();

  private:
    bool readMore();
    bool readUntil(std::size_t size);
    bool readChunks();

    int socket_;
    WireRequest& request_;
    std::string& unread_;
};

/// What the server does with a request.
using Behaviour = std::function<void(WireConnection&)>;

/// A whole answer that keeps the connection; header lines with their ends.
std::string answerText(std::string_view status, std::string_view body, std::string_view headerLines = "");
/// Reads the request and answers; the connection stays.
Behaviour answers(std::string_view status, std::string_view body, std::string_view headerLines = "");
/// Reads the request, sends these bytes, and hangs up.
Behaviour sendsAndCloses(std::string bytes);
Behaviour redirectsTo(std::string url, std::string_view status = "302 Found");

/// A server on 127.0.0.1 that does exactly what its script says. Each connection has a thread.
class LoopbackServer {
  public:
    /// The behaviours serve the requests in their order; the last one serves all that follow.
    explicit LoopbackServer(std::vector<Behaviour> script = {answers("200 OK", "{}")});
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    void setScript(std::vector<Behaviour> script);
    std::string url(std::string_view path = "/") const;
    int port() const { return port_; }

    /// Those whose behaviour has come to its end, in the order in which their heads came.
    std::vector<WireRequest> requests() const;
    /// Waits until there are as many, ten seconds at most.
    std::vector<WireRequest> waitForRequests(std::size_t count) const;
    int connectionCount() const;

  private:
    void acceptAll();
    void serve(int socket, int connection);
    /// The place of the request that has just begun, and what to do with it.
    std::pair<std::size_t, Behaviour> nextBehaviour();

    int listener_;
    int port_ = 0;
    std::atomic<bool> isStopping_ = false;
    mutable std::mutex mutex_;
    std::vector<Behaviour> script_;
    std::size_t served_ = 0;
    std::vector<std::optional<WireRequest>> requests_;  ///< absent as long as the server deals with it
    std::vector<int> sockets_;
    std::list<std::thread> threads_;
    std::thread accepting_;
};

}  // namespace harvelstone::testing
