#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tools/body_decoding.hpp"
#include "tools/inspection.hpp"
#include "tools/scripted_replies.hpp"

namespace harvelstone::tools {

/// What the collector tells its owner, on the threads of its connections, one call at a time.
struct CollectorEvents {
    /// An upload came and was decoded. Called before the answer goes out; false means that it could not be kept, and
    /// the client gets status 500.
    std::function<bool(const DecodedBody&)> received;
    /// An upload could not be decoded; the client gets status 400.
    std::function<void(const std::string& reason)> refused;
};

/// What an upload is to be answered, and the number under which it is kept.
struct UploadAnswer {
    std::uint64_t number = 0;
    GivenReply given;
    const char* contentType = "application/json";
};

/// Decides what each upload is answered, and keeps both for the page. Every decoded upload takes the reply of the
/// misbehaviour, else the next one of the script; what does not decode takes none. Any thread.
class Reception {
  public:
    Reception(BodyLimits limits, std::vector<Reply> replies, CollectorEvents events, Inspection& inspection);

    const BodyLimits& limits() const { return limits_; }

    UploadAnswer take(RequestHead head, std::string_view body);
    /// For a body that is not all there.
    UploadAnswer refuse(RequestHead head, std::string_view body, const std::string& reason);
    /// The answer is about to go out, that long after the body was there.
    void answered(const UploadAnswer& answer, double milliseconds);

  private:
    GivenReply replyTo(const DecodedBody& body);
    UploadAnswer refuse(Exchange exchange, std::string_view body, const std::string& reason);

    const BodyLimits limits_;
    ReplyScript script_;
    CollectorEvents events_;
    Inspection& inspection_;
    std::mutex mutex_;  // documents are reported, numbered and answered in one order
};

}  // namespace harvelstone::tools
