// One HTTP request over libcurl, from its options to its outcome. Runs on the worker thread of the request's queue.
// Redirects are followed here and not by libcurl, so that each step is held to the rules of the first URL.
#include "harvelstone/platform/CurlConnection.hpp"

#include <array>
#include <atomic>
#include <chrono>
#include <curl/curl.h>
#include <fmt/format.h>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "harvelstone/platform/BlockedSignals.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/ExitGuard.hpp"
#include "harvelstone/platform/Fork.hpp"
#include "harvelstone/platform/HttpExchange.hpp"
#include "harvelstone/platform/OpenSockets.hpp"
#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/http_url.hpp"
#include "harvelstone/platform/tls_through_exit.hpp"

namespace harvelstone::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

template <auto end>
struct Ended {
    void operator()(auto* object) const { end(object); }
};
using HeaderLines = std::unique_ptr<curl_slist, Ended<curl_slist_free_all>>;

/// Sets libcurl up for the process, once.
CURLcode initialized() {
    static constinit std::optional<CURLcode> result;
    const std::lock_guard lock(heldAcrossFork());
    if (!result) {
        keepTlsThroughExit();
        result = curl_global_init(CURL_GLOBAL_DEFAULT);
        ExitGuard::watchForExit();
    }
    return *result;
}

/// Watches for the exit a second time, from the first request on: this handler comes before what the host has made
/// since it started the library is destroyed, and so no completion finds that gone.
void watchFromFirstRequest() {
    static constinit std::atomic<bool> isWatching = false;
    if (!isWatching.exchange(true)) ExitGuard::watchForExit();
}

void addLine(HeaderLines& lines, const std::string& line) {
    auto* longer = curl_slist_append(lines.get(), line.c_str());
    if (!longer) throw std::bad_alloc();
    static_cast<void>(lines.release());
    lines.reset(longer);
}

/// The headers that were asked for. Those that libcurl would add unasked are taken out; the length is set elsewhere, so
/// that there is one such header.
HeaderLines headerLines(const HttpRequest& request) {
    HeaderLines lines;
    bool hasType = false;
    for (const auto& header : request.headers) {
        if (isHeaderNamed(header, "Content-Length")) continue;
        hasType = hasType || isHeaderNamed(header, "Content-Type");
        addLine(lines, header.value.empty() ? header.name + ";" : header.name + ": " + header.value);
    }
    if (!hasType) addLine(lines, "Content-Type:");
    addLine(lines, "Expect:");
    return lines;
}

HttpExchange& exchangeOf(void* pointer) { return *static_cast<HttpExchange*>(pointer); }

std::size_t readBody(char* buffer, std::size_t size, std::size_t count, void* exchange) {
    return exchangeOf(exchange).readBody({buffer, size * count}).value_or(CURL_READFUNC_ABORT);
}

int seekBody(void* exchange, curl_off_t offset, int origin) {
    const bool isStart = offset == 0 && origin == SEEK_SET;
    return isStart && exchangeOf(exchange).rewindBody() ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

curl_socket_t openSocket(void* sockets, curlsocktype /*purpose*/, curl_sockaddr* address) {
    try {
        return static_cast<OpenSockets*>(sockets)->open(address->family, address->socktype, address->protocol);
    } catch (const std::bad_alloc&) {
        return CURL_SOCKET_BAD;
    }
}

int closeSocket(void* sockets, curl_socket_t socket) { return static_cast<OpenSockets*>(sockets)->close(socket); }

/// libcurl ends the transfer when not all the bytes were taken.
std::size_t taken(std::size_t size, bool goesOn) { return goesOn ? size : 0; }

std::size_t takeHeadLine(char* bytes, std::size_t size, std::size_t count, void* exchange) {
    return taken(size * count, exchangeOf(exchange).takeHeadLine({bytes, size * count}));
}

std::size_t takeData(char* bytes, std::size_t size, std::size_t count, void* exchange) {
    return taken(size * count, exchangeOf(exchange).takeData({bytes, size * count}));
}

/// The only call that is made for bytes which libcurl keeps to itself.
int countReceived(CURL* /*easy*/, curl_infotype kind, char* /*bytes*/, std::size_t size, void* exchange) {
    if (kind == CURLINFO_DATA_IN) exchangeOf(exchange).countReceived(size);
    return 0;
}

HttpOutcome failed(HttpResponse response, std::string reason) {
    return {.response = std::move(response), .data = std::nullopt, .error = HttpError{std::move(reason)}};
}

}  // namespace

struct CurlConnection::Handles {
    OpenSockets sockets;  // gone after the connections
    std::unique_ptr<CURLM, Ended<curl_multi_cleanup>> multi{curl_multi_init()};
    std::unique_ptr<CURL, Ended<curl_easy_cleanup>> easy{curl_easy_init()};
    unsigned process = processGeneration();
    bool keepsOldVersion = false;  ///< the kept connection leads to a server of HTTP/1.0

    /// Keeps handles that cannot be closed in order: TLS is gone at the exit, and in a child made by fork the
    /// connections are the parent's.
    static void leaveOpen(std::unique_ptr<Handles> handles) {
        struct Open {
            std::mutex mutex;
            std::vector<std::unique_ptr<Handles>> handles;
        };
        static constinit PerProcess<Open> open;
        const std::lock_guard lock(open->mutex);
        open->handles.push_back(std::move(handles));
    }
};

/// One exchange with one server.
class CurlConnection::Transfer {
  public:
    Transfer(Handles& handles, const HttpRequest& request, const CurlSettings& settings, std::string url,
             milliseconds timeLeft)
        : handles_(handles),
          request_(request),
          url_(std::move(url)),
          headers_(headerLines(request)),
          exchange_(request, settings.limits) {
        curl_easy_reset(handles_.easy.get());  // connections stay
        setTarget(settings);
        setLimits(settings.limits, timeLeft);
        setMethod();
        setBody();
        setCallbacks();
    }

    HttpOutcome run();

    /// Where the answer leads on to, if it does.
    std::optional<std::string> redirect() const {
        const char* url = nullptr;
        curl_easy_getinfo(handles_.easy.get(), CURLINFO_REDIRECT_URL, &url);
        return url ? std::optional<std::string>(url) : std::nullopt;
    }

  private:
    template <typename T>
    void set(CURLoption option, T value) {
        const auto status = curl_easy_setopt(handles_.easy.get(), option, value);
        if (status != CURLE_OK)
            throw Exception(fmt::format("libcurl option {}: {}", static_cast<int>(option), curl_easy_strerror(status)));
    }

    void setTarget(const CurlSettings& settings) {
        set(CURLOPT_URL, url_.c_str());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        // One request at a time on a connection: HTTP/2 would bring nothing but a larger surface.
        set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        set(CURLOPT_USERAGENT, "harvelstone");
        set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
        set(CURLOPT_SSL_VERIFYPEER, 1L);
        set(CURLOPT_SSL_VERIFYHOST, 2L);
        // libcurl sends no chunks on a connection that it knows to be HTTP/1.0.
        if (handles_.keepsOldVersion) set(CURLOPT_FRESH_CONNECT, 1L);
        if (leadsToThisDevice(url_)) set(CURLOPT_PROXY, "");
        if (settings.certificateAuthorities.empty()) return;
        set(CURLOPT_CAINFO, settings.certificateAuthorities.c_str());
        set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));  // these authorities instead of the system's
    }

    void setLimits(const HttpLimits& limits, milliseconds timeLeft) {
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_QUICK_EXIT, 1L);  // a name look-up that hangs is left behind, not waited for
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connect.count()));
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(timeLeft.count()));
        set(CURLOPT_LOW_SPEED_LIMIT, 1L);
        set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.silence.count()));
    }

    void setMethod() {
        if (request_.body || request_.method == "POST") {
            set(CURLOPT_POST, 1L);
        } else if (request_.method == "HEAD") {
            set(CURLOPT_NOBODY, 1L);
        } else {
            set(CURLOPT_HTTPGET, 1L);
        }
        set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
    }

    void setBody() {
        constexpr curl_off_t unknown = -1;  // goes out chunked
        const auto length = request_.body ? declaredLength(request_).value_or(unknown) : curl_off_t{0};
        set(CURLOPT_POSTFIELDSIZE_LARGE, length);
        set(CURLOPT_HTTPHEADER, headers_.get());
        if (request_.body && length > 0 && length <= longestWithHead) setWholeBody(static_cast<std::size_t>(length));
    }

    /// libcurl sends a body that it has in memory in one packet with the head.
    void setWholeBody(std::size_t length) {
        wholeBody_.resize(length);
        for (std::size_t filled = 0; filled < length;) {
            const auto count = exchange_.readBody(std::span(wholeBody_).subspan(filled));
            if (!count) return;  // the exchange knows why, and does not begin
            filled += *count;
        }
        set(CURLOPT_POSTFIELDS, wholeBody_.data());
    }

    void setCallbacks() {
        set(CURLOPT_READFUNCTION, &readBody);
        set(CURLOPT_READDATA, &exchange_);
        set(CURLOPT_SEEKFUNCTION, &seekBody);
        set(CURLOPT_SEEKDATA, &exchange_);
        set(CURLOPT_HEADERFUNCTION, &takeHeadLine);
        set(CURLOPT_HEADERDATA, &exchange_);
        set(CURLOPT_WRITEFUNCTION, &takeData);
        set(CURLOPT_WRITEDATA, &exchange_);
        set(CURLOPT_DEBUGFUNCTION, &countReceived);
        set(CURLOPT_DEBUGDATA, &exchange_);
        set(CURLOPT_VERBOSE, 1L);  // or the function above is not called
        set(CURLOPT_ERRORBUFFER, errorText_.data());
        set(CURLOPT_OPENSOCKETFUNCTION, &openSocket);
        set(CURLOPT_OPENSOCKETDATA, &handles_.sockets);
        set(CURLOPT_CLOSESOCKETFUNCTION, &closeSocket);
        set(CURLOPT_CLOSESOCKETDATA, &handles_.sockets);
    }

    CURLcode drive() const;

    static constexpr curl_off_t longestWithHead = 32 * 1024;

    Handles& handles_;
    const HttpRequest& request_;
    const std::string url_;
    const HeaderLines headers_;
    HttpExchange exchange_;
    std::string wholeBody_;
    std::array<char, CURL_ERROR_SIZE> errorText_{};
};

/// Moves the transfer on until it ends. Does not return if the process exits meanwhile.
CURLcode CurlConnection::Transfer::drive() const {
    constexpr int pauseMilliseconds = 1000;
    auto* multi = handles_.multi.get();
    ExitGuard guard([multi] { curl_multi_wakeup(multi); });
    guard.parkIfExiting();
    if (curl_multi_add_handle(multi, handles_.easy.get()) != CURLM_OK) return CURLE_FAILED_INIT;
    auto status = CURLM_OK;
    for (int running = 1; running > 0 && status == CURLM_OK && !exchange_.failure();) {
        status = curl_multi_perform(multi, &running);
        if (running > 0 && status == CURLM_OK)
            status = curl_multi_poll(multi, nullptr, 0, pauseMilliseconds, /*numfds=*/nullptr);
        guard.parkIfExiting();
    }
    int left = 0;
    const auto* message = curl_multi_info_read(multi, &left);
    const auto result = message ? message->data.result : CURLE_FAILED_INIT;
    curl_multi_remove_handle(multi, handles_.easy.get());
    return result;
}

HttpOutcome CurlConnection::Transfer::run() {
    const auto result = drive();
    long version = 0;
    curl_easy_getinfo(handles_.easy.get(), CURLINFO_HTTP_VERSION, &version);
    handles_.keepsOldVersion = version == CURL_HTTP_VERSION_1_0;
    if (exchange_.failure()) return failed(exchange_.takeResponse(), *exchange_.failure());
    if (result == CURLE_OK) return {exchange_.takeResponse(), exchange_.takeReply(), std::nullopt};
    const std::string_view details(errorText_.data());
    return failed(exchange_.takeResponse(), details.empty() ? curl_easy_strerror(result) : std::string(details));
}

void CurlConnection::prepareLibrary() { static_cast<void>(initialized()); }

CurlConnection::CurlConnection() {
    const auto status = initialized();
    if (status != CURLE_OK) throw Exception(fmt::format("libcurl: {}", curl_easy_strerror(status)));
    watchFromFirstRequest();
    open();
}

CurlConnection::~CurlConnection() { close(); }

void CurlConnection::open() {
    handles_ = std::make_unique<Handles>();
    if (!handles_->multi || !handles_->easy) throw std::bad_alloc();
}

void CurlConnection::close() {
    const ExitGuard guard([] {});
    const bool canClose = !guard.isExiting() && handles_->process == processGeneration();
    if (!canClose) Handles::leaveOpen(std::move(handles_));
    handles_.reset();
}

HttpOutcome CurlConnection::perform(const HttpRequest& request, const CurlSettings& settings) {
    const BlockedBrokenPipe blocked;  // TLS writes with plain `write`
    // Its end, or words that would be taken for the answer to this request: servers say one more thing before they end
    // a connection that was idle for long.
    if (handles_->sockets.haveInput()) {
        close();
        open();
    }
    const auto end = steady_clock::now() + settings.limits.total;
    auto url = request.url;
    for (int redirects = 0;; ++redirects) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        if (left <= milliseconds::zero()) return failed({}, "the request took too long");
        Transfer transfer(*handles_, request, settings, url, left);
        auto outcome = transfer.run();
        const auto next = transfer.redirect();
        if (outcome.error || !next) return outcome;
        if (redirects >= settings.limits.redirects)
            return failed(std::move(outcome.response), fmt::format("more than {} redirects", redirects));
        if (auto refusal = refusalOfRedirect(url, *next)) return failed(std::move(outcome.response), *refusal);
        if (request.body) request.body->rewind();
        url = *next;
    }
}

}  // namespace harvelstone::platform
