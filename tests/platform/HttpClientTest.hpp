#pragma once

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"

#include "tests/support/LoopbackServer.hpp"

namespace harvelstone::testing {

/// What a completion was told, and where.
struct Outcome {
    platform::HttpResponse response;
    std::optional<std::string> data;
    std::optional<platform::HttpError> error;
    std::shared_ptr<platform::RunLoop> loop;

    std::string reason() const { return error ? error->reason : ""; }
    std::optional<std::string> header(std::string_view name) const {
        for (const auto& header : response.headers) {
            if (header.name == name) return header.value;
        }
        return std::nullopt;
    }
};

/// The real client against a server that does what the test says.
class HttpClientTest : public ::testing::Test {
  protected:
    static platform::HttpRequest post(std::string url, std::string body) {
        platform::HttpRequest request;
        request.url = std::move(url);
        request.method = "POST";
        request.headers = {{"Content-Type", "application/octet-stream"}};
        request.body = std::make_shared<platform::MemoryBodyStream>(std::move(body));
        request.handlesCookies = false;
        return request;
    }
    static platform::HttpRequest withLength(platform::HttpRequest request, std::size_t length) {
        request.headers.push_back({"Content-Length", std::to_string(length)});
        return request;
    }
    platform::HttpRequest post(std::string body) const { return post(server_.url(), std::move(body)); }

    void useLimits(platform::HttpLimits limits) {
        client_ = std::make_unique<platform::CurlHttpClient>(platform::CurlSettings{limits, ""});
    }
    /// Limits that nothing but the test's own subject reaches.
    static platform::HttpLimits wideLimits() { return {}; }

    std::future<Outcome> start(platform::HttpRequest request) {
        auto queue = workers_.newOperationQueue();
        auto outcome = std::make_shared<std::promise<Outcome>>();
        auto future = outcome->get_future();
        client_->sendAsynchronousRequest(std::move(request), queue,
                                         [outcome](const auto& response, const auto& data, const auto& error) {
                                             outcome->set_value({response, data, error, platform::RunLoop::current()});
                                         });
        return future;
    }

    static Outcome await(std::future<Outcome> outcome) {
        if (outcome.wait_for(std::chrono::seconds(60)) == std::future_status::ready) return outcome.get();
        ADD_FAILURE() << "no completion came";
        return {};
    }

    Outcome send(platform::HttpRequest request) { return await(start(std::move(request))); }

    LoopbackServer server_;
    platform::WorkerThreads workers_;
    std::unique_ptr<platform::CurlHttpClient> client_ = std::make_unique<platform::CurlHttpClient>();
};

}  // namespace harvelstone::testing
