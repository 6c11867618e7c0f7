#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace harvelstone::testing {

/// A certificate and its key, both as PEM text.
struct TlsIdentity {
    std::string certificate;
    std::string key;
};

struct CertificateWish {
    /// For whom it is, as OpenSSL writes it: "IP:127.0.0.1", "DNS:localhost", ...
    std::string subjectNames = "IP:127.0.0.1";
    int validFromDays = -1;  ///< from now
    int validUntilDays = 1;
    bool isSelfSigned = false;  ///< vouched for by nobody
};

/// An authority of the test's own. Everything is made when it is asked for; nothing is kept in the tree.
class CertificateAuthority {
  public:
    CertificateAuthority();
    ~CertificateAuthority();
    CertificateAuthority(const CertificateAuthority&) = delete;
    CertificateAuthority& operator=(const CertificateAuthority&) = delete;

    /// Its own certificate, as PEM text.
    const std::string& certificate() const;
    TlsIdentity issue(const CertificateWish& wish = {}) const;

  private:
    struct Keys;
    std::unique_ptr<Keys> keys_;
};

/// TLS in front of a plain server on this device. What comes is decrypted and passed on, and back.
class TlsFront {
  public:
    enum class Version { modern, older };  ///< older: nothing newer than TLS 1.1

    TlsFront(const TlsIdentity& identity, int plainPort, Version version = Version::modern);
    ~TlsFront();
    TlsFront(const TlsFront&) = delete;
    TlsFront& operator=(const TlsFront&) = delete;

    std::string url(std::string_view path = "/") const { return urlFor("127.0.0.1", path); }
    std::string urlFor(std::string_view host, std::string_view path = "/") const;
    /// Those that both sides agreed to.
    int handshakeCount() const { return handshakes_; }

  private:
    struct Context;
    void acceptAll();
    void serve(int socket);

    std::unique_ptr<Context> context_;
    int plainPort_;
    int listener_;
    int port_;
    std::atomic<int> handshakes_ = 0;
    std::mutex mutex_;
    std::vector<int> sockets_;
    std::list<std::thread> threads_;
    std::thread accepting_;
};

}  // namespace harvelstone::testing
