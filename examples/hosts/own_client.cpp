// A host with an HTTP client and a log of its own. usage: own_client [TARGET]
#include <array>
#include <atomic>
#include <chrono>
#include <httplib.h>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "harvelstone/api/Analytics.hpp"

namespace {

using namespace harvelstone::platform;

std::atomic<int> lineCount = 0;

/// Any thread may write. A line that cannot be written is lost; what was being logged goes on.
void writeToAppLog(std::string_view tag, std::string_view line) noexcept try {
    std::clog << std::string(tag).append(line).append("\n");
    ++lineCount;
} catch (const std::exception&) {
}

struct Address {
    std::string server;
    std::string path;
};

Address addressOf(const HttpRequest& request) {
    const auto pathBegin = request.url.find('/', std::string_view("http://").size());
    if (!request.url.starts_with("http://") || pathBegin == std::string::npos)
        throw InvalidArgumentException("\"" + request.url + "\" is no address with a path");
    return {request.url.substr(0, pathBegin), request.url.substr(pathBegin)};
}

std::string bytesOf(BodyStream& body) {
    std::string bytes;
    std::array<char, 4096> buffer{};
    while (const auto count = body.read(buffer)) bytes.append(buffer.data(), count);
    return bytes;
}

/// What came back: a status and a body, or an error.
struct Answer {
    int status = 0;
    std::optional<std::string> body;
    std::optional<HttpError> error;
};

/// The request as it stands, sent by the other client. Waits for the answer.
Answer post(const Address& address, const HttpRequest& request) {
    httplib::Headers headers;
    std::string type;
    for (const auto& [name, value] : request.headers) {
        if (name == "Content-Type")
            type = value;
        else if (name != "Content-Length")
            headers.emplace(name, value);  // the client sets these two itself
    }
    const auto result = httplib::Client(address.server).Post(address.path, headers, bytesOf(*request.body), type);
    if (!result) return {.status = 0, .body = {}, .error = HttpError{to_string(result.error())}};
    return {.status = result->status, .body = result->body, .error = {}};
}

class AppHttpClient final : public HttpClient {
  public:
    void sendAsynchronousRequest(HttpRequest request, std::shared_ptr<RunLoop> queue,
                                 HttpCompletion completion) override {
        std::thread([=, address = addressOf(request), request = std::move(request)] {
            const Answer answer = post(address, request);
            queue->post([=] { completion({.status = answer.status, .headers = {}}, answer.body, answer.error); });
        }).detach();
    }
};
class AppLog final : public Log {
    void platformLine(std::string_view line) noexcept override { writeToAppLog("analytics: ", line); }
    void debugLine(std::string_view line) noexcept override { writeToAppLog("analytics, debug: ", line); }
};

}  // namespace

int main(int argc, char** argv) {
    using harvelstone::Analytics;
    harvelstone::AnalyticsOptions options;
    options.targetUri = argc > 1 ? argv[1] : "http://127.0.0.1:8080/documents";
    options.appKey = "shop";
    options.documentsFolder = "shop-data";
    options.debug = true;
    options.platform.httpClient = std::make_shared<AppHttpClient>();
    options.platform.log = std::make_shared<AppLog>();
    Analytics::configure(options);

    Analytics::startVisit();
    Analytics::installReferrer({});
    Analytics::page("home", {{"section", "women"}});
    Analytics::click({{"button", "buy"}});
    const auto receipt = Analytics::flush(std::chrono::seconds(10));
    std::cout << receipt.documentsSent << " sent, " << lineCount << " lines in the app's log\n";
}
