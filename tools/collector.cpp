// The local collector: an HTTP server that decodes uploads. Its connections run on the server library's threads.
//
// The server is the library's, but the connections are ours: so a connection can be closed without any answer, a body
// keeps its compression until we have counted its bytes, and the end of the collector does not wait for idle clients.

#include "tools/collector.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <fmt/format.h>
#include <httplib.h>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <thread>

#if defined(__SANITIZE_THREAD__)
#define HARVELSTONE_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define HARVELSTONE_THREAD_SANITIZER
#endif
#endif

#if defined(HARVELSTONE_THREAD_SANITIZER)
/// The server library is not built with the thread sanitizer, which therefore misses how its threads agree on who
/// makes its static objects.
extern "C" const char* __tsan_default_suppressions() { return "called_from_lib:libcpp-httplib.so\n"; }
#endif

#include "harvelstone/platform/Clock.hpp"

#include "tools/event_stream.hpp"
#include "tools/inspector_api.hpp"
#include "tools/inspector_page.hpp"

namespace harvelstone::tools {

namespace {

using std::chrono::steady_clock;

constexpr std::size_t connectionLimit = 64;
constexpr std::chrono::seconds idleLimit{30};
constexpr std::chrono::seconds silenceLimit{10};
constexpr std::size_t mostHeadersKept = 100;
constexpr int mostStreams = 16;
constexpr int pollMilliseconds = 20;  // how soon a waiting connection sees that the collector stops

/// One client's connection, as the server library reads and writes it.
class Connection final : public httplib::Stream {
  public:
    Connection(socket_t socket, const std::atomic<bool>& isStopping) : socket_(socket), isStopping_(isStopping) {}
    ~Connection() override {
        ::shutdown(socket_, SHUT_RDWR);
        ::close(socket_);
    }

    /// Waits for the next request's first byte; false when none comes any more.
    bool waitForRequest() { return position_ < filled_ || waitFor(POLLIN, idleLimit); }
    /// From now on nothing is written.
    void abandon() { isAbandoned_ = true; }
    /// Whether the client has gone.
    bool isCutOff() const {
        pollfd entry{socket_, POLLRDHUP, 0};
        return ::poll(&entry, 1, /*timeout=*/0) > 0;
    }
    /// The headers of the request that is being served, as they came.
    httplib::Headers headers;

    bool is_readable() const override { return position_ < filled_ || waitFor(POLLIN, silenceLimit); }
    bool is_writable() const override { return !isAbandoned_ && waitFor(POLLOUT, silenceLimit); }

    ssize_t read(char* bytes, std::size_t size) override {
        if (position_ == filled_) {
            if (!waitFor(POLLIN, silenceLimit)) return -1;
            const auto count = ::recv(socket_, buffer_.data(), buffer_.size(), 0);
            if (count <= 0) return count;
            position_ = 0;
            filled_ = static_cast<std::size_t>(count);
        }
        const auto count = std::min(size, filled_ - position_);
        std::copy_n(buffer_.data() + position_, count, bytes);
        position_ += count;
        return static_cast<ssize_t>(count);
    }

    ssize_t write(const char* bytes, std::size_t size) override {
        if (!is_writable()) return -1;
        // A client that takes only a part must not keep us from seeing that the collector stops.
        const auto count = ::send(socket_, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        return count < 0 && errno == EAGAIN ? 0 : count;
    }

    // Nobody asks for the addresses.
    void get_remote_ip_and_port(std::string& ip, int& port) const override { none(ip, port); }
    void get_local_ip_and_port(std::string& ip, int& port) const override { none(ip, port); }
    socket_t socket() const override { return socket_; }

  private:
    static void none(std::string& ip, int& port) {
        ip.clear();
        port = 0;
    }

    bool waitFor(short event, steady_clock::duration limit) const {
        const auto deadline = steady_clock::now() + limit;
        while (!isStopping_ && steady_clock::now() < deadline) {
            pollfd entry{socket_, event, 0};
            if (::poll(&entry, 1, pollMilliseconds) > 0) return true;
        }
        return false;
    }

    const socket_t socket_;
    const std::atomic<bool>& isStopping_;
    std::array<char, 16384> buffer_{};
    std::size_t position_ = 0;
    std::size_t filled_ = 0;
    bool isAbandoned_ = false;
};

thread_local Connection* currentConnection = nullptr;

/// The library adds some of its own, about the connection.
RequestHead headOf(const httplib::Request& request) {
    RequestHead head{request.target, {}};
    for (const auto& [name, value] : currentConnection->headers) {
        const bool isOfLibrary =
            name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" || name == "LOCAL_PORT";
        if (!isOfLibrary && head.headers.size() < mostHeadersKept) head.headers.emplace_back(name, value);
    }
    return head;
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
        const auto inspect = [this](const auto& request, auto& response) { answerInspection(request, response); };
        Get(".*", inspect);
        Put(".*", inspect);
        Delete(".*", inspect);
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
        while (!isClosed && connection.waitForRequest()) {
            if (!process_request(connection, /*close_connection=*/false, isClosed, keepCompression)) break;
        }
        currentConnection = nullptr;
        return true;
    }

    void takeUpload(const httplib::Request& request, httplib::Response& response,
                    const httplib::ContentReader& reader) {
        std::string bytes;
        // What is beyond the limit is read and thrown away, up to a point, so that the client gets to see the answer.
        const auto limit = reception_.limits().body;
        std::size_t surplus = 0;
        const bool isWhole = reader([&](const char* data, std::size_t size) {
            const auto room = limit + 1 - bytes.size();
            bytes.append(data, std::min(size, room));
            surplus += size - std::min(size, room);
            return surplus <= 4 * limit;
        });
        const auto arrival = steady_clock::now();
        if (!isWhole && bytes.size() <= limit) {
            reception_.refuse(headOf(request), bytes, "the body ended before its announced end");
            currentConnection->abandon();
            return;
        }
        answer(reception_.take(headOf(request), bytes), arrival, response);
    }

    void answer(const UploadAnswer& answer, steady_clock::time_point arrival, httplib::Response& response) {
        const auto& reply = answer.given.reply;
        if (reply.delay.count() > 0) {
            std::unique_lock lock(mutex_);
            stopped_.wait_for(lock, reply.delay, [this] { return isStopping_.load(); });
        }
        if (reply.closesWithoutAnswer || isStopping_) currentConnection->abandon();
        response.status = reply.status;
        response.set_content(reply.body, answer.contentType);
        const std::chrono::duration<double, std::milli> passed = steady_clock::now() - arrival;
        reception_.answered(answer, passed.count());
    }

    void answerInspection(const httplib::Request& request, httplib::Response& response) {
        const ApiRequest asked{request.method, request.path, request.get_header_value("Host"),
                               request.get_header_value("Origin"), request.body};
        response.headers = {
            {"Content-Security-Policy", fmt::format("{}; frame-ancestors 'none'", inspectorPagePolicy())},
            {"X-Content-Type-Options", "nosniff"},
            {"Referrer-Policy", "no-referrer"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cache-Control", "no-store"}};
        const auto refusal = refusalOf(asked, ownName_);
        if (!refusal && asked.method == "GET" && asked.path == eventsPath) return stream(request, response);
        const auto answer = refusal ? *refusal : answerInspector(asked, inspection_);
        response.status = answer.status;
        response.set_content(answer.body, answer.contentType.c_str());
        if (answer.isDownload) response.set_header("Content-Disposition", "attachment");
    }

    /// Server-sent events: what has changed, from the beginning or from where the client broke off, until it goes.
    void stream(const httplib::Request& request, httplib::Response& response) {
        if (++streams_ > mostStreams) {
            --streams_;
            response.status = 503;
            return;
        }
        EventStream events(inspection_, series_, request.get_header_value("Last-Event-ID"));
        const auto provider = [events](std::size_t, httplib::DataSink& sink) mutable {
            const auto text = events.next();
            if (!events.goesOn() || currentConnection->isCutOff()) return false;
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
