#include "tests/support/LoopbackServer.hpp"

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <netinet/in.h>
#include <stdexcept>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace harvelstone::testing {
namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headEnd = "\r\n\r\n";

std::vector<std::string> linesOf(std::string_view head) {
    std::vector<std::string> lines;
    for (auto end = head.find(lineEnd); end != std::string_view::npos && end > 0; end = head.find(lineEnd)) {
        lines.emplace_back(head.substr(0, end));
        head.remove_prefix(end + lineEnd.size());
    }
    return lines;
}

int listenOnLoopback() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener, 64) != 0)
        throw std::runtime_error("no loopback server");
    return listener;
}

int portOf(int listener) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

/// Adds what comes next to the text; false at the end of the connection.
bool receive(int socket, std::string& text) {
    std::array<char, 16384> buffer{};
    const auto count = recv(socket, buffer.data(), buffer.size(), 0);
    if (count <= 0) return false;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

std::string takeFrom(std::string& text, std::size_t size) {
    auto taken = text.substr(0, size);
    text.erase(0, size);
    return taken;
}

}  // namespace

std::string WireRequest::requestLine() const { return head.substr(0, head.find(lineEnd)); }

std::vector<std::string> WireRequest::headerLines() const {
    auto lines = linesOf(head);
    if (!lines.empty()) lines.erase(lines.begin());
    return lines;
}

std::optional<std::string> WireRequest::header(std::string_view name) const {
    for (const auto& line : headerLines()) {
        if (line.size() > name.size() + 1 && line[name.size()] == ':' &&
            strncasecmp(line.c_str(), name.data(), name.size()) == 0)
            return line.substr(name.size() + 2);
    }
    return std::nullopt;
}

bool WireConnection::readMore() { return receive(socket_, unread_); }

bool WireConnection::readUntil(std::size_t size) {
    while (unread_.size() < size) {
        if (!readMore()) return false;
    }
    return true;
}

bool WireConnection::readChunks() {
    for (std::size_t size = 1; size > 0;) {
        auto end = unread_.find(lineEnd);
        for (; end == std::string::npos; end = unread_.find(lineEnd)) {
            if (!readMore()) return false;
        }
        size = std::stoul(unread_.substr(0, end), nullptr, 16);
        const auto whole = end + lineEnd.size() + size + lineEnd.size();
        if (!readUntil(whole)) return false;
        request_.body += unread_.substr(end + lineEnd.size(), size);
        request_.rawBody += takeFrom(unread_, whole);
    }
    return true;
}

bool WireConnection::readBody() {
    if (request_.header("Transfer-Encoding") == "chunked") return readChunks();
    const auto size = std::stoul(request_.header("Content-Length").value_or("0"));
    if (!readUntil(size)) return false;
    request_.body = request_.rawBody = takeFrom(unread_, size);
    return true;
}

bool WireConnection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void WireConnection::close() { shutdown(socket_, SHUT_RDWR); }

void WireConnection::reset() {
    const linger atOnce{.l_onoff = 1, .l_linger = 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    sockaddr unspecified{};
    unspecified.sa_family = AF_UNSPEC;
    connect(socket_, &unspecified, sizeof unspecified);  // on Linux, drops the connection with a reset
}

void WireConnection::waitForHangUp() {
    while (readMore()) unread_.clear();
}

std::string answerText(std::string_view status, std::string_view body, std::string_view headerLines) {
    std::string text = "HTTP/1.1 ";
    text.append(status).append(lineEnd).append(headerLines);
    text.append("Content-Length: ").append(std::to_string(body.size())).append(headEnd).append(body);
    return text;
}

Behaviour answers(std::string_view status, std::string_view body, std::string_view headerLines) {
    return [text = answerText(status, body, headerLines)](WireConnection& connection) {
        if (connection.readBody()) connection.send(text);
    };
}

Behaviour sendsAndCloses(std::string bytes) {
    return [bytes = std::move(bytes)](WireConnection& connection) {
        if (connection.readBody()) connection.send(bytes);
        connection.close();
    };
}

Behaviour redirectsTo(std::string url, std::string_view status) {
    return answers(status, "moved", "Location: " + std::move(url) + "\r\n");
}

LoopbackServer::LoopbackServer(std::vector<Behaviour> script)
    : listener_(listenOnLoopback()), port_(portOf(listener_)), script_(std::move(script)) {
    accepting_ = std::thread([this] { acceptAll(); });
}

LoopbackServer::~LoopbackServer() {
    isStopping_ = true;
    shutdown(listener_, SHUT_RDWR);
    accepting_.join();
    for (const int socket : sockets_) shutdown(socket, SHUT_RDWR);
    for (auto& thread : threads_) thread.join();
    for (const int socket : sockets_) ::close(socket);
    ::close(listener_);
}

void LoopbackServer::setScript(std::vector<Behaviour> script) {
    const std::lock_guard lock(mutex_);
    script_ = std::move(script);
    served_ = 0;
}

std::string LoopbackServer::url(std::string_view path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

std::vector<WireRequest> LoopbackServer::requests() const {
    const std::lock_guard lock(mutex_);
    std::vector<WireRequest> dealtWith;
    for (const auto& request : requests_) {
        if (request) dealtWith.push_back(*request);
    }
    return dealtWith;
}

std::vector<WireRequest> LoopbackServer::waitForRequests(std::size_t count) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (requests().size() < count && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    return requests();
}

int LoopbackServer::connectionCount() const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(sockets_.size());
}

void LoopbackServer::acceptAll() {
    for (;;) {
        const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0 || isStopping_) {
            if (socket >= 0) ::close(socket);
            return;
        }
        const std::lock_guard lock(mutex_);
        const auto connection = static_cast<int>(sockets_.size());
        sockets_.push_back(socket);
        threads_.emplace_back([this, socket, connection] { serve(socket, connection); });
    }
}

std::pair<std::size_t, Behaviour> LoopbackServer::nextBehaviour() {
    const std::lock_guard lock(mutex_);
    const auto index = std::min(served_++, script_.size() - 1);
    requests_.emplace_back();
    return {requests_.size() - 1, script_[index]};
}

void LoopbackServer::serve(int socket, int connection) {
    std::string unread;
    for (;;) {
        auto end = unread.find(headEnd);
        for (; end == std::string::npos; end = unread.find(headEnd)) {
            if (!receive(socket, unread)) return;
        }
        WireRequest request{
            .connection = connection, .head = takeFrom(unread, end + headEnd.size()), .rawBody = "", .body = ""};
        WireConnection wire(socket, request, unread);
        const auto [place, behaviour] = nextBehaviour();
        behaviour(wire);
        const std::lock_guard lock(mutex_);
        requests_[place] = std::move(request);
    }
}

}  // namespace harvelstone::testing
