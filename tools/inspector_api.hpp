#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/inspection.hpp"

namespace harvelstone::tools {

/// A request for the page or the API, without what nobody asks for here.
struct ApiRequest {
    std::string method;  ///< GET, PUT or DELETE
    std::string path;
    std::string host;    ///< the Host header
    std::string origin;  ///< the Origin header; empty when there is none
    std::string body;
};

struct ApiAnswer {
    int status = 200;
    std::string contentType;
    std::string body;
    bool isDownload = false;
};

/// Where the changes are streamed: the server does that itself.
inline constexpr std::string_view eventsPath = "/api/events";

/// What every answer of page and API carries: the page's policy, and that nobody keeps, guesses at or embeds it.
const std::vector<std::pair<std::string, std::string>>& inspectorHeaders();

/// The longest body of an order, in bytes.
inline constexpr std::size_t longestOrder = std::size_t{64} << 10U;

/// Whether a browser that was sent here under that name can only have meant us. Names are refused but for our own
/// (`ownName`, as it was given on the command line) and localhost: a page elsewhere could let its name lead here, and
/// would then count as ours. An address cannot be made to.
bool isOwnHost(std::string_view hostHeader, std::string_view ownName);

/// Whether the page or API answers at all: absent when it does, else the refusal.
std::optional<ApiAnswer> refusalOf(const ApiRequest& request, std::string_view ownName);

/// Answers a request for the page or the API, the stream of changes aside.
ApiAnswer answerInspector(const ApiRequest& request, Inspection& inspection);

}  // namespace harvelstone::tools
