#pragma once

#include <string>

#include "tests/support/TlsFront.hpp"

namespace harvelstone::testing {

/// TLS in front of a plain server, for a host that finds in its Documents folder who vouches for it.
class TlsOfHost {
  public:
    TlsOfHost(const std::string& documents, int plainPort);

    std::string url() const { return front_.url(); }
    int handshakeCount() const { return front_.handshakeCount(); }

  private:
    CertificateAuthority authority_;
    TlsFront front_;
};

}  // namespace harvelstone::testing
