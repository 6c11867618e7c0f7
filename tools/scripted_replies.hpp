#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "harvelstone/platform/RunLoop.hpp"
#include "harvelstone/platform/Value.hpp"

namespace harvelstone::tools {

/// What the collector answers to one upload.
struct Reply {
    int status = 200;
    std::string body = "{}";
    platform::Seconds delay{0};
    bool closesWithoutAnswer = false;
};

/// A reply from an object such as {"status": 503, "body": "busy", "delay": 0.5}. A wrong member raises WrongUse.
Reply replyFrom(const Dictionary& object);

/// Replies from JSON Lines such as {"status": 503, "body": "busy", "delay": 0.5} or {"close": true}. A wrong line
/// raises WrongUse, whose message begins with "FILE:LINE".
std::vector<Reply> parseReplies(std::string_view text, const std::string& file);

/// Hands the replies out in order, the last one for ever; without any, the default. Any thread.
class ReplyScript {
  public:
    explicit ReplyScript(std::vector<Reply> replies);
    Reply next();

  private:
    std::mutex mutex_;
    std::vector<Reply> replies_;
    std::size_t position_ = 0;
};

}  // namespace harvelstone::tools
