#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <sys/types.h>

namespace harvelstone::tools {

/// A client's socket, which it closes in the end. Every wait is bounded, and ends at once when the collector stops.
class ClientSocket {
  public:
    ClientSocket(int socket, const std::atomic<bool>& isStopping) : socket_(socket), isStopping_(isStopping) {}
    ~ClientSocket();
    ClientSocket(const ClientSocket&) = delete;
    ClientSocket& operator=(const ClientSocket&) = delete;

    int number() const { return socket_; }

    /// Waits for the next request's first byte; false when none comes any more.
    bool waitForRequest() const;
    /// Waits for the next byte of a request, or until a byte can be written; false when that takes too long.
    bool waitToRead() const;
    bool waitToWrite() const;

    /// As the system's calls; a write may take a part, or nothing.
    ssize_t read(char* bytes, std::size_t size);
    ssize_t write(const char* bytes, std::size_t size) const;

    /// From now on nothing is written.
    void abandon() { isAbandoned_ = true; }
    /// Whether the client has gone.
    bool isCutOff() const;

  private:
    bool waitFor(short event, std::chrono::seconds limit) const;

    const int socket_;
    const std::atomic<bool>& isStopping_;
    std::array<char, 16384> buffer_{};
    std::size_t position_ = 0;
    std::size_t filled_ = 0;
    bool isAbandoned_ = false;
};

}  // namespace harvelstone::tools
