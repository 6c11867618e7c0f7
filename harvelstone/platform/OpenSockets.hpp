#pragma once

#include <vector>

namespace harvelstone::platform {

/// The sockets that an HTTP connection has open, in use or kept. Used by one thread at a time.
class OpenSockets {
  public:
    /// A socket that neither a child made by fork nor a program that the host starts inherits; -1 when there is none to
    /// be had.
    int open(int family, int type, int protocol);
    /// 0, or -1 when closing failed; the socket is gone either way.
    int close(int socket);

    /// Whether something came on one of them that nobody has read yet.
    bool haveInput() const;

  private:
    std::vector<int> open_;
};

}  // namespace harvelstone::platform
