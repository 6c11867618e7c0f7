// The local collector: an HTTP server that decodes uploads. Its connections run on the server library's threads.
//
// The server is the library's, but the connections are ours: so a connection can be closed without any answer, a body
// keeps its compression until we have counted its bytes, and the end of the collector does not wait for idle clients.

#include "tools/collector.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fmt/format.h>
#include <httplib.h>
#include <mutex>
#include <set>
#include <sys/socket.h>
#include <thread>

#include "harvelstone/platform/Clock.hpp"

#include "tools/client_socket.hpp"
#include "tools/event_stream.hpp"
#include "tools/inspector_api.hpp"

#if defined(HARVELSTONE_THREAD_SANITIZER)
/// The server library is not built with the thread sanitizer, which therefore misses how its threads agree on who
/// makes its static objects.
extern "C" const char* __tsan_default_suppressions() { return "called_from_lib:libcpp-httplib.so\n"; }
#endif

namespace harvelstone::tools {

namespace {

using std::chrono::steady_clock;

constexpr std::size_t connectionLimit = 64;
constexpr std::size_t mostHeadersKept = 100;
constexpr int mostStreams = 16;

/// One client's connection, as the server library reads and writes it.
class Connection final : public httplib::Stream {
  public:
    Connection(socket_t socket, const std::atomic<bool>& isStopping) : client(socket, isStopping) {}

    ClientSocket client;
    /// The headers of the request that is being served, as they came.
    httplib::Headers headers;

    bool is_readable() const override { return client.waitToRead(); }
    bool is_writable() const override { return client.waitToWrite(); }
    ssize_t read(char* bytes, std::size_t size) override { return client.read(bytes, size); }
    ssize_t write(const char* bytes, std::size_t size) override { return client.write(bytes, size); }
    socket_t socket() const override { return client.number(); }

    // Nobody asks for the addresses.
    void get_remote_ip_and_port(std::string& ip, int& port) const override { none(ip, port); }
    void get_local_ip_and_port(std::string& ip, int& port) const override { none(ip, port); }

  private:
    static void none(std::string& ip, int& port) {
        ip.clear();
        port = 0;
    }
};

thread_local Connection* currentConnection = nullptr;

RequestHead headOf(const httplib::Request& request) {
    // What the library adds about the connection.
    static const std::set<std::string_view> own{"REMOTE_ADDR", "REMOTE_PORT", "LOCAL_ADDR", "LOCAL_PORT"};
    RequestHead head{request.target, {}};
    for (const auto& header : currentConnection->headers) {
        if (!own.contains(header.first) && head.headers.size() < mostHeadersKept) head.headers.emplace_back(header);
    }
    return head;
}

struct ReadBody {
    std::string bytes;  ///< one more than the limit when there is more
    bool isWhole = false;
};

/// What is beyond the limit is read and thrown away, up to a point, so that the client gets to see the answer.
ReadBody readBody(const httplib::ContentReader& reader, std::size_t limit) {
    ReadBody body;
    std::size_t surplus = 0;
    body.isWhole = reader([&](const char* data, std::size_t size) {
        const auto room = limit + 1 - body.bytes.size();
        body.bytes.append(data, std::min(size, room));
        surplus += size - std::min(size, room);
        return surplus <= 4 * limit;
    });
    return body;
}

/// Unlike the library's own choice, not the option by which two servers can share a port unknowingly.
void allowQuickRestart(socket_t socket) {
    const int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

}  // namespace

class Collector::Server final : public httplib::Server {
  public:
    Server(const CollectorOptions& options, CollectorEvents events)
        : ownName_(options.host),
          inspection_(options.inspection),
          reception_(options.limits, options.replies, std::move(events), inspection_) {
        new_task_queue = [] { return new httplib::ThreadPool(connectionLimit); };
        set_socket_options(allowQuickRestart);
        set_tcp_nodelay(/*on=*/true);
        Post(".*", [this](const auto& request, auto& response, const httplib::ContentReader& reader) {
            takeUpload(request, response, reader);
        });
        const auto inspect = [this](const auto& request, auto& response) { answerInspection(request, {}, response); };
        Get(".*", inspect);
        Delete(".*", inspect);
        Put(".*", [this](const auto& request, auto& response, const httplib::ContentReader& reader) {
            answerInspection(request, readBody(reader, longestOrder).bytes, response);
        });
    }

    void listen() {
        // The library lets five connections wait, which a crowd of clients overruns; a second call widens that.
        ::listen(svr_sock_, SOMAXCONN);
        thread_ = std::thread([this] { listen_after_bind(); });
        // A stop that comes before the library has begun to accept would be lost.
        while (!is_running()) std::this_thread::yield();
    }

    void end() {
        {
            const std::lock_guard lock(mutex_);
            isStopping_ = true;
        }
        stopped_.notify_all();
        inspection_.end();
        stop();
        if (thread_.joinable()) thread_.join();
    }

  private:
    bool process_and_close_socket(socket_t socket) override {
        Connection connection(socket, isStopping_);
        currentConnection = &connection;
        bool isClosed = false;
        const auto keepCompression = [&](httplib::Request& request) {
            connection.headers = request.headers;
            request.headers.erase("Content-Encoding");
        };
        while (!isClosed && connection.client.waitForRequest()) {
            if (!process_request(connection, /*close_connection=*/false, isClosed, keepCompression)) break;
        }
        currentConnection = nullptr;
        return true;
    }

    void takeUpload(const httplib::Request& request, httplib::Response& response,
                    const httplib::ContentReader& reader) {
        const auto limit = reception_.limits().body;
        const auto body = readBody(reader, limit);
        const auto arrival = steady_clock::now();
        if (body.isWhole || body.bytes.size() > limit) {
            return answer(reception_.take(headOf(request), body.bytes), arrival, response);
        }
        auto refused = reception_.refuse(headOf(request), body.bytes, "the body ended before its announced end");
        refused.given.reply.closesWithoutAnswer = true;
        answer(refused, arrival, response);
    }

    void answer(const UploadAnswer& answer, steady_clock::time_point arrival, httplib::Response& response) {
        const auto& reply = answer.given.reply;
        if (reply.delay.count() > 0) {
            std::unique_lock lock(mutex_);
            stopped_.wait_for(lock, reply.delay, [this] { return isStopping_.load(); });
        }
        if (reply.closesWithoutAnswer || isStopping_) currentConnection->client.abandon();
        response.status = reply.status;
        response.set_content(reply.body, answer.contentType);
        const std::chrono::duration<double, std::milli> passed = steady_clock::now() - arrival;
        reception_.answered(answer, passed.count());
    }

    void answerInspection(const httplib::Request& request, std::string body, httplib::Response& response) {
        const ApiRequest asked{request.method, request.path, request.get_header_value("Host"),
                               request.get_header_value("Origin"), std::move(body)};
        for (const auto& [name, value] : inspectorHeaders()) response.set_header(name, value);
        const auto refusal = refusalOf(asked, ownName_);
        if (!refusal && asked.method == "GET" && asked.path == eventsPath) return stream(request, response);
        const auto answer = refusal ? *refusal : answerInspector(asked, inspection_);
        response.status = answer.status;
        response.set_content(answer.body, answer.contentType);
        if (answer.isDownload) response.set_header("Content-Disposition", "attachment");
    }

    /// Server-sent events: what has changed, from the beginning or from where the client broke off, until it goes.
    void stream(const httplib::Request& request, httplib::Response& response) {
        if (++streams_ > mostStreams) {
            --streams_;
            response.status = 503;
            return;
        }
        // A browser that goes on with a stream sends the header, a page that begins another one cannot.
        const auto header = request.get_header_value("Last-Event-ID");
        EventStream events(inspection_, series_, header.empty() ? request.get_param_value("after") : header);
        const auto provider = [events](std::size_t, httplib::DataSink& sink) mutable {
            const auto text = events.next();
            if (!events.goesOn() || currentConnection->client.isCutOff()) return false;
            return text.empty() || sink.write(text.data(), text.size());
        };
        response.set_chunked_content_provider("text/event-stream", provider, [this](bool) { --streams_; });
    }

    const std::string ownName_;
    /// Tells this run of the collector from one before on the same port.
    const std::string series_ = fmt::format("{:.6f}", platform::SystemClock().now());
    Inspection inspection_;
    Reception reception_;
    std::atomic<int> streams_{0};

    std::mutex mutex_;
    std::condition_variable stopped_;
    std::atomic<bool> isStopping_{false};
    std::thread thread_;
};

Collector::Collector(CollectorOptions options, CollectorEvents events)
    : options_(std::move(options)), server_(std::make_unique<Server>(options_, std::move(events))) {}

Collector::~Collector() { stop(); }

bool Collector::start() {
    int port = options_.port;
    if (port == 0) {
        port = server_->bind_to_any_port(options_.host);
        if (port < 0) return false;
    } else if (!server_->bind_to_port(options_.host, port)) {
        return false;
    }
    const bool isVersion6 = options_.host.find(':') != std::string::npos;
    address_ = fmt::format("http://{}:{}", isVersion6 ? "[" + options_.host + "]" : options_.host, port);
    server_->listen();
    return true;
}

void Collector::stop() {
    if (!address_.empty()) server_->end();
}

}  // namespace harvelstone::tools
