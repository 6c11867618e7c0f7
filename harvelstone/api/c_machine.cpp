// Log, main queue and HTTP client on the host's C callbacks, and the functions by which the host runs tasks and answers
// requests. Stores nothing. Callbacks are called on the thread that logs, plans or sends; an answer is handled on the
// request's own operation queue.

#include "harvelstone/api/c_machine.hpp"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "harvelstone/api/HandleTable.hpp"
#include "harvelstone/api/c_call.hpp"
#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/http_url.hpp"

namespace harvelstone {

namespace {

struct PlannedTask {
    std::shared_ptr<platform::RunLoop> loop;
    platform::Task task;
};

struct Exchange {
    std::shared_ptr<platform::RunLoop> queue;
    platform::HttpCompletion completion;
};

constinit HandleTable<PlannedTask> plannedTasks;
constinit HandleTable<Exchange> exchanges;

class HostLog final : public platform::Log {
  public:
    HostLog(harvelstone_log_callback callback, void* userData) : callback_(callback), userData_(userData) {}

    void platformLine(std::string_view line) noexcept override { say(HARVELSTONE_LOG_PLATFORM, line); }
    void debugLine(std::string_view line) noexcept override { say(HARVELSTONE_LOG_DEBUG, line); }

  private:
    void say(harvelstone_log_kind kind, std::string_view line) noexcept {
        try {
            const std::string text(line);
            const platform::HostCall call;
            callback_(kind, text.c_str(), userData_);
        } catch (const std::bad_alloc&) {
            // A line that there is no memory for is lost; what was being logged goes on.
        }
    }

    harvelstone_log_callback callback_;
    void* userData_;
};

class HostMainQueue final : public platform::RunLoop, public std::enable_shared_from_this<HostMainQueue> {
  public:
    HostMainQueue(harvelstone_main_queue_callback callback, void* userData)
        : callback_(callback), userData_(userData) {}

    void post(platform::Task task) override { callAfter(platform::Seconds::zero(), std::move(task)); }
    void callAfter(platform::Seconds delay, platform::Task task) override {
        const auto number = plannedTasks.add({shared_from_this(), std::move(task)});
        const platform::HostCall call;
        callback_(number, delay.count(), userData_);
    }

  private:
    harvelstone_main_queue_callback callback_;
    void* userData_;
};

std::string bytesOf(platform::BodyStream& body) {
    std::string bytes;
    std::array<char, 16384> buffer{};
    while (const auto count = body.read(buffer)) bytes.append(buffer.data(), count);
    return bytes;
}

class HostHttpClient final : public platform::HttpClient {
  public:
    HostHttpClient(harvelstone_http_callback callback, void* userData) : callback_(callback), userData_(userData) {}

    void sendAsynchronousRequest(platform::HttpRequest request, std::shared_ptr<platform::RunLoop> queue,
                                 platform::HttpCompletion completionHandler) override {
        if (const auto refusal = platform::refusalOfUrl(request.url))
            throw platform::InvalidArgumentException(*refusal);
        const auto body = request.body ? bytesOf(*request.body) : std::string();
        std::vector<harvelstone_http_header> headers;
        for (const auto& header : request.headers) headers.push_back({header.name.c_str(), header.value.c_str()});
        const harvelstone_http_request shown{.size = sizeof(harvelstone_http_request),
                                             .url = request.url.c_str(),
                                             .method = request.method.c_str(),
                                             .headers = headers.data(),
                                             .header_count = headers.size(),
                                             .body = body.data(),
                                             .body_size = body.size()};
        const auto number = exchanges.add({std::move(queue), std::move(completionHandler)});
        const platform::HostCall call;
        callback_(&shown, number, userData_);
    }

  private:
    harvelstone_http_callback callback_;
    void* userData_;
};

PlannedTask takeTask(harvelstone_task number) {
    auto planned = plannedTasks.take(number);
    if (!planned) throw platform::InvalidArgumentException("there is no such task, or it was run or dropped before");
    return *std::move(planned);
}

void complete(harvelstone_exchange number, int status, std::optional<std::string> data,
              std::optional<platform::HttpError> error) {
    auto exchange = exchanges.take(number);
    if (!exchange) throw platform::InvalidArgumentException("there is no such exchange, or it was answered before");
    exchange->queue->post([completion = std::move(exchange->completion), status, data = std::move(data),
                           error = std::move(error)] { completion({.status = status, .headers = {}}, data, error); });
}

}  // namespace

std::shared_ptr<platform::Log> logOfHost(harvelstone_log_callback callback, void* userData) {
    return std::make_shared<HostLog>(callback, userData);
}

std::shared_ptr<platform::RunLoop> mainQueueOfHost(harvelstone_main_queue_callback callback, void* userData) {
    return std::make_shared<HostMainQueue>(callback, userData);
}

std::shared_ptr<platform::HttpClient> httpClientOfHost(harvelstone_http_callback callback, void* userData) {
    return std::make_shared<HostHttpClient>(callback, userData);
}

}  // namespace harvelstone

using harvelstone::statusOf;

harvelstone_status harvelstone_run_task(harvelstone_task task) noexcept {
    return statusOf([&] {
        const auto planned = harvelstone::takeTask(task);
        const harvelstone::platform::RunLoop::Running running(planned.loop);
        planned.task();
    });
}

harvelstone_status harvelstone_drop_task(harvelstone_task task) noexcept {
    return statusOf([&] { harvelstone::takeTask(task); });
}

harvelstone_status harvelstone_http_answer(harvelstone_exchange exchange, int32_t http_status, const void* body,
                                           size_t body_size) noexcept {
    return statusOf([&] {
        using harvelstone::platform::InvalidArgumentException;
        if (body == nullptr && body_size > 0) throw InvalidArgumentException("the body is NULL");
        if (body_size > harvelstone::platform::HttpLimits().replyBytes) {
            harvelstone::complete(exchange, http_status, std::nullopt, {{"the reply is too big"}});
            return;
        }
        harvelstone::complete(exchange, http_status, std::string(static_cast<const char*>(body), body_size), {});
    });
}

harvelstone_status harvelstone_http_fail(harvelstone_exchange exchange, const char* reason) noexcept {
    return statusOf([&] {
        auto why = harvelstone::optionalText(reason).value_or("no reason given");
        harvelstone::complete(exchange, /*status=*/0, std::nullopt, {{std::move(why)}});
    });
}
