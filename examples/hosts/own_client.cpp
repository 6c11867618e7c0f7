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

/// Where the host's own log goes. Any thread may write to it.
class AppLog final : public Log {
  public:
    void platformLine(std::string_view line) noexcept override { write("analytics: ", line); }
    void debugLine(std::string_view line) noexcept override { write("analytics, debug: ", line); }
    int lineCount() const { return lineCount_; }

  private:
    void write(std::string_view tag, std::string_view line) noexcept try {
        std::clog << std::string(tag).append(line).append("\n");
        ++lineCount_;
    } catch (const std::exception&) {
        // A line that cannot be written is lost; what was being logged goes on.
    }

    std::atomic<int> lineCount_{0};
};

std::string bytesOf(BodyStream& body) {
    std::string bytes;
    std::array<char, 4096> buffer{};
    while (const auto count = body.read(buffer)) bytes.append(buffer.data(), count);
    return bytes;
}

/// The request as it stands, sent by the other client. Waits for the answer.
httplib::Result post(const HttpRequest& request, std::size_t pathBegin) {
    httplib::Client client(request.url.substr(0, pathBegin));
    httplib::Headers headers;
    std::string type;
    for (const auto& [name, value] : request.headers) {
        if (name == "Content-Type")
            type = value;
        else if (name != "Content-Length")
            headers.emplace(name, value);  // the client sets these two itself
    }
    return client.Post(request.url.substr(pathBegin), headers, bytesOf(*request.body), type);
}

class AppHttpClient final : public HttpClient {
  public:
    void sendAsynchronousRequest(HttpRequest request, std::shared_ptr<RunLoop> queue,
                                 HttpCompletion completion) override {
        const auto pathBegin = request.url.find('/', std::string_view("http://").size());
        if (!request.url.starts_with("http://") || pathBegin == std::string::npos)
            throw InvalidArgumentException("\"" + request.url + "\" is no address with a path");
        std::thread([=, request = std::move(request)] {
            const auto result = post(request, pathBegin);
            queue->post([completion, status = result ? result->status : 0,
                         body = result ? std::optional(result->body) : std::nullopt,
                         error = result ? std::nullopt : std::optional(HttpError{to_string(result.error())})] {
                completion({.status = status, .headers = {}}, body, error);
            });
        }).detach();
    }
};

}  // namespace

int main(int argc, char** argv) {
    using harvelstone::Analytics;
    const auto log = std::make_shared<AppLog>();
    harvelstone::AnalyticsOptions options;
    options.targetUri = argc > 1 ? argv[1] : "http://127.0.0.1:8080/documents";
    options.appKey = "shop";
    options.documentsFolder = "shop-data";
    options.debug = true;
    options.platform.log = log;
    options.platform.httpClient = std::make_shared<AppHttpClient>();
    Analytics::configure(options);

    Analytics::startVisit();
    Analytics::installReferrer({});
    Analytics::page("home", {{"section", "women"}});
    Analytics::click({{"button", "buy"}});
    const auto receipt = Analytics::flush(std::chrono::seconds(10));
    std::cout << receipt.documentsSent << " sent, " << log->lineCount() << " lines in the app's log\n";
}
