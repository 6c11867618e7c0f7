// Starts requests, lends each a libcurl handle from a pool, and hands their outcomes over. Requests are checked on the
// caller's thread; everything else runs on the request's queue.
#include "harvelstone/platform/CurlHttpClient.hpp"

#include <algorithm>
#include <exception>
#include <fmt/format.h>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "harvelstone/platform/CurlConnection.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/HttpExchange.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/http_url.hpp"

namespace harvelstone::platform {
namespace {

/// What may stand in a method or a header's name (RFC 9110, token).
bool isToken(std::string_view text) {
    constexpr std::string_view allowed =
        "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return !text.empty() && text.find_first_not_of(allowed) == std::string_view::npos;
}

bool isHeaderValue(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return (byte < 0x20 && character != '\t') || byte == 0x7F;
    });
}

void check(const HttpRequest& request) {
    if (const auto refusal = refusalOfUrl(request.url)) throw InvalidArgumentException(*refusal);
    if (!isToken(request.method))
        throw InvalidArgumentException(fmt::format("\"{}\" is no HTTP method", request.method));
    for (const auto& header : request.headers) {
        if (!isToken(header.name)) throw InvalidArgumentException(fmt::format("\"{}\" names no header", header.name));
        if (!isHeaderValue(header.value))
            throw InvalidArgumentException(fmt::format("the header {} holds a control character", header.name));
    }
    static_cast<void>(declaredLength(request));  // raises if it cannot be read
}

void checkAuthorities(const std::string& path) {
    if (path.empty()) return;
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()))
        throw InvalidArgumentException(fmt::format("the file of certificate authorities \"{}\" cannot be read", path));
    if (text.view().find("-----BEGIN ") == std::string_view::npos)
        throw InvalidArgumentException(
            fmt::format("the file of certificate authorities \"{}\" holds no certificate", path));
}

}  // namespace

/// Handles that no request is using. The one given back last is lent first: its connection is the freshest.
class CurlHttpClient::Pool {
  public:
    explicit Pool(CurlSettings settings) : settings_(std::move(settings)) {}

    /// The handle is back before this returns, so that a completion that starts the next request finds it.
    HttpOutcome perform(const HttpRequest& request) {
        try {
            auto connection = lend();
            auto outcome = connection->perform(request, settings_);
            takeBack(std::move(connection));
            return outcome;
        } catch (const std::exception& exception) {
            return {.response = {}, .data = std::nullopt, .error = HttpError{exception.what()}};
        }
    }

  private:
    // Uploads go one at a time, immediate sends beside them: more are hardly ever in use at once.
    static constexpr std::size_t mostKept = 4;

    std::unique_ptr<CurlConnection> lend() {
        {
            auto& kept = *kept_;
            const std::lock_guard lock(kept.mutex);
            if (!kept.connections.empty()) {
                auto connection = std::move(kept.connections.back());
                kept.connections.pop_back();
                return connection;
            }
        }
        return std::make_unique<CurlConnection>();
    }

    void takeBack(std::unique_ptr<CurlConnection> connection) {
        auto& kept = *kept_;
        const std::lock_guard lock(kept.mutex);
        if (kept.connections.size() < mostKept) kept.connections.push_back(std::move(connection));
    }

    struct Kept {
        std::mutex mutex;
        std::vector<std::unique_ptr<CurlConnection>> connections;
    };

    const CurlSettings settings_;
    OwnedPerProcess<Kept> kept_;  // in a child made by fork, the connections are still its parent's
};

CurlHttpClient::CurlHttpClient(CurlSettings settings) {
    checkAuthorities(settings.certificateAuthorities);
    CurlConnection::prepareLibrary();
    pool_ = std::make_shared<Pool>(std::move(settings));
}

CurlHttpClient::~CurlHttpClient() = default;

void CurlHttpClient::sendAsynchronousRequest(HttpRequest request, std::shared_ptr<RunLoop> queue,
                                             HttpCompletion completionHandler) {
    check(request);
    queue->post([pool = pool_, request = std::move(request), completion = std::move(completionHandler)] {
        const auto outcome = pool->perform(request);
        completion(outcome.response, outcome.data, outcome.error);
    });
}

}  // namespace harvelstone::platform
