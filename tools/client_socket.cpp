// A client's socket, on the thread of its connection.

#include "tools/client_socket.hpp"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace harvelstone::tools {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds idleLimit{30};
constexpr std::chrono::seconds silenceLimit{10};
constexpr int pollMilliseconds = 20;  // how soon a waiting connection sees that the collector stops

}  // namespace

ClientSocket::~ClientSocket() {
    ::shutdown(socket_, SHUT_RDWR);
    ::close(socket_);
}

bool ClientSocket::waitForRequest() const { return position_ < filled_ || waitFor(POLLIN, idleLimit); }

bool ClientSocket::waitToRead() const { return position_ < filled_ || waitFor(POLLIN, silenceLimit); }

bool ClientSocket::waitToWrite() const { return !isAbandoned_ && waitFor(POLLOUT, silenceLimit); }

ssize_t ClientSocket::read(char* bytes, std::size_t size) {
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

ssize_t ClientSocket::write(const char* bytes, std::size_t size) const {
    if (!waitToWrite()) return -1;
    // A client that takes only a part must not keep us from seeing that the collector stops.
    const auto count = ::send(socket_, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    return count < 0 && errno == EAGAIN ? 0 : count;
}

bool ClientSocket::isCutOff() const {
    pollfd entry{socket_, POLLRDHUP, 0};
    return ::poll(&entry, 1, /*timeout=*/0) > 0;
}

bool ClientSocket::waitFor(short event, std::chrono::seconds limit) const {
    const auto deadline = steady_clock::now() + limit;
    while (!isStopping_ && steady_clock::now() < deadline) {
        pollfd entry{socket_, event, 0};
        if (::poll(&entry, 1, pollMilliseconds) > 0) return true;
    }
    return false;
}

}  // namespace harvelstone::tools
