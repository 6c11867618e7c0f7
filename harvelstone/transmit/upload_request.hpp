#pragma once

#include <string>
#include <string_view>

#include "harvelstone/platform/HttpClient.hpp"

namespace harvelstone {

/// What tells the three kinds of upload apart.
struct UploadKind {
    std::string_view outgoingTag;  ///< begins the line with the outgoing JSON
    std::string_view outgoingEnd;  ///< ends it
    bool setsContentLength;
};

/// Encodes and compresses the JSON text and starts its upload to the target; the completion runs on an operation queue
/// of its own. Raises what the start of the request raises.
void startUpload(const UploadKind& kind, const std::string& json, const std::string& targetUri,
                 platform::HttpCompletion completionHandler);

}  // namespace harvelstone
