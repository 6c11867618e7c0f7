#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "harvelstone/platform/Value.hpp"

#include "tools/body_decoding.hpp"
#include "tools/scripted_replies.hpp"

namespace harvelstone::tools {

struct CollectorOptions {
    std::string host = "127.0.0.1";
    int port = 0;  ///< 0: a free one
    BodyLimits limits;
    std::vector<Reply> replies;  ///< see ReplyScript
};

/// What the collector tells its owner, on the threads of its connections, one call at a time.
struct CollectorEvents {
    /// An upload came and was decoded. Called before the answer goes out; false means that it could not be kept, and
    /// the client gets status 500.
    std::function<bool(const DecodedBody&)> received;
    /// An upload could not be decoded; the client gets status 400.
    std::function<void(const std::string& reason)> refused;
};

/// A small HTTP server that takes uploads: POST on any path. Every decoded upload takes the next scripted reply; a body
/// that does not decode takes none.
class Collector {
  public:
    Collector(CollectorOptions options, CollectorEvents events);
    /// Stops.
    ~Collector();
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    /// Binds and begins to serve on threads of its own; false when the address is not to be had.
    bool start();
    /// Answers nothing more and waits until its threads have ended. A reply that is being delayed is dropped.
    void stop();

    /// "http://127.0.0.1:PORT", once started.
    const std::string& address() const { return address_; }

  private:
    class Server;

    CollectorOptions options_;
    std::unique_ptr<Server> server_;
    std::string address_;
};

}  // namespace harvelstone::tools
