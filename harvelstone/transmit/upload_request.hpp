#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "harvelstone/platform/Value.hpp"

namespace harvelstone {

/// What tells the three kinds of upload apart.
struct UploadKind {
    std::string_view logTag;       ///< begins the lines with the outgoing JSON and with the reply
    std::string_view outgoingEnd;  ///< ends the line with the outgoing JSON
    bool setsContentLength;
};

/// Takes the body of the answer, absent when there was none; nothing else of an answer counts.
using ReplyHandler = std::function<void(const std::optional<std::string>& data)>;

/// Encodes and compresses the JSON text and starts its upload to the target. Returns at once; the handler runs later on
/// an operation queue of the request's own. Counts as outstanding work until the handler has returned. A target that is
/// absent or no text raises platform::InvalidArgumentException; besides, what the start of the request raises.
void startUpload(const UploadKind& kind, const std::string& json, const std::optional<Value>& targetUri,
                 ReplyHandler replyHandler);

}  // namespace harvelstone
