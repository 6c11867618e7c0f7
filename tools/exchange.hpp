#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "harvelstone/platform/Value.hpp"

#include "tools/scripted_replies.hpp"

namespace harvelstone::tools {

/// What a client sent before the body: names and values as they came, sorted by name.
struct RequestHead {
    std::string path;
    std::vector<std::pair<std::string, std::string>> headers;
};

/// The bytes of a body in its three layers; 0 for a layer that was not reached.
struct LayerSizes {
    std::size_t gzip = 0;
    std::size_t encoded = 0;
    std::size_t json = 0;
};

/// Who decided what was answered.
enum class ReplySource { script, misbehaviour, collector };

/// What was answered to an upload.
struct GivenReply {
    Reply reply;
    ReplySource source = ReplySource::script;
    double milliseconds = 0;  ///< from the arrival of the whole body to the answer
};

/// One upload and its answer, as the page shows it.
struct Exchange {
    std::uint64_t number = 0;  ///< from 1, in the order of arrival
    double arrived = 0;        ///< seconds since 1970
    RequestHead head;
    LayerSizes sizes;
    std::string json;                 ///< the document's text; empty when there is none, or too much of it
    std::string refusal;              ///< why the body did not decode; empty when it did
    std::string bodyStart;            ///< of a refused body: its first bytes in hexadecimal digits
    std::optional<GivenReply> given;  ///< absent while the answer is on its way
};

Value exchangeValue(const Exchange& exchange);

}  // namespace harvelstone::tools
