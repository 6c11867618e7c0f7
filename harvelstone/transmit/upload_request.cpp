// The request that carries every upload: gzip(percent-encode(JSON)) in a POST. Reads and writes no store. Runs on the
// thread of the sender; the answer comes on an operation queue of the request's own.

#include "harvelstone/transmit/upload_request.hpp"

#include <cstdint>
#include <fmt/format.h>
#include <memory>
#include <utility>

#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/HttpClient.hpp"
#include "harvelstone/platform/Platform.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/HV_GZIP.hpp"
#include "harvelstone/transmit/percent_encoding.hpp"

namespace harvelstone {

namespace {

/// All but the smallest documents become smaller than that.
constexpr std::size_t leastCompression = 4;

std::string urlOf(const std::optional<Value>& targetUri) {
    const auto* text = targetUri ? targetUri->string() : nullptr;
    if (text == nullptr) throw platform::InvalidArgumentException("the target URI is not set");
    return *text;
}

/// Status, headers and error are not looked at. The token goes with the closure, after the handler has returned.
platform::HttpCompletion completionOf(ReplyHandler replyHandler) {
    auto work = std::make_shared<OutstandingWork>(OutstandingWork::Kind::upload);
    return [work = std::move(work), process = platform::processGeneration(), replyHandler = std::move(replyHandler)](
               const platform::HttpResponse&, const std::optional<std::string>& data,
               const std::optional<platform::HttpError>&) {
        if (process == platform::processGeneration()) replyHandler(data);  // else it is the parent's upload
    };
}

}  // namespace

void startUpload(const UploadKind& kind, const std::string& json, const std::optional<Value>& targetUri,
                 ReplyHandler replyHandler) {
    BSDebugger::log([&] { return fmt::format("{}[SDK->SERVER] {}{}", kind.logTag, json, kind.outgoingEnd); });
    // What is percent-encoded is ASCII, so its UTF-8 bytes are the text itself.
    PercentEncoder encoder(json);
    auto body = HV_GZIP().gzippedPieces([&] { return encoder.next(); }, json.size() / leastCompression);

    platform::HttpRequest request;
    request.url = urlOf(targetUri);
    BSDebugger::log(fmt::format("DEBUG_HARVELSTONE_JSON[SDK REQUEST URL] {}", request.url));
    request.method = "POST";
    request.headers = {{"Content-Type", "application/octet-stream"}, {"Content-Encoding", "gzip"}};
    if (kind.setsContentLength) {
        // The protocol has a 32-bit signed number here.
        request.headers.push_back({"Content-Length", std::to_string(static_cast<std::int32_t>(body.size()))});
        BSDebugger::log("DEBUG_HARVELSTONE_JSON : set Content Length.");
    }
    request.body = std::make_shared<platform::MemoryBodyStream>(std::move(body));
    const auto& machine = platform::Platform::current();
    auto queue = machine.workers->newOperationQueue();
    request.handlesCookies = false;
    const platform::HostCall call;
    machine.httpClient->sendAsynchronousRequest(std::move(request), std::move(queue),
                                                completionOf(std::move(replyHandler)));
}

}  // namespace harvelstone
