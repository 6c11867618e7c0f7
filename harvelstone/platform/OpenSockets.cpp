#include "harvelstone/platform/OpenSockets.hpp"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "harvelstone/platform/Fork.hpp"

namespace harvelstone::platform {

int OpenSockets::open(int family, int type, int protocol) {
    open_.reserve(open_.size() + 1);
    const int socket = ::socket(family, type | SOCK_CLOEXEC, protocol);
    if (socket < 0) return socket;
    open_.push_back(socket);
    closeInChild(socket);
    return socket;
}

int OpenSockets::close(int socket) {
    std::erase(open_, socket);
    keepInChild(socket);
    return ::close(socket);
}

bool OpenSockets::haveInput() const {
    std::vector<pollfd> watched;
    watched.reserve(open_.size());
    for (const int socket : open_) watched.push_back({.fd = socket, .events = POLLIN, .revents = 0});
    return poll(watched.data(), watched.size(), /*timeout=*/0) > 0;
}

}  // namespace harvelstone::platform
