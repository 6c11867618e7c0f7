#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/body_decoding.hpp"
#include "tools/inspection.hpp"
#include "tools/reception.hpp"
#include "tools/scripted_replies.hpp"

namespace harvelstone::tools {

struct CollectorOptions {
    std::string host = "127.0.0.1";
    int port = 0;  ///< 0: a free one
    BodyLimits limits;
    std::vector<Reply> replies;  ///< see ReplyScript
    InspectionLimits inspection;
};

/// A small HTTP server that takes uploads, POST on any path, and shows them on a page of its own.
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
