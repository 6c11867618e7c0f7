// A TLS server of the test's own, and the certificates that it shows.

#include "tests/support/TlsFront.hpp"

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <random>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include "harvelstone/platform/BlockedSignals.hpp"

namespace harvelstone::testing {
namespace {

template <auto Free>
struct Freed {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;
using Memory = std::unique_ptr<BIO, Freed<BIO_free>>;
using Session = std::unique_ptr<SSL, Freed<SSL_free>>;

void require(bool isDone, const char* what) {
    if (!isDone) throw std::runtime_error(std::string("TLS of the test: ") + what);
}

template <typename Write>
std::string pemOf(Write write) {
    const Memory memory(BIO_new(BIO_s_mem()));
    require(memory && write(memory.get()) == 1, "PEM");
    char* text = nullptr;
    const auto size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

std::string pemOf(X509* certificate) {
    return pemOf([&](BIO* memory) { return PEM_write_bio_X509(memory, certificate); });
}

std::string pemOf(EVP_PKEY* key) {
    return pemOf(
        [&](BIO* memory) { return PEM_write_bio_PrivateKey(memory, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

void addExtension(X509* certificate, int kind, const std::string& value) {
    auto* extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str());
    require(extension && X509_add_ext(certificate, extension, -1) == 1, "an extension");
    X509_EXTENSION_free(extension);
}

/// Without a signature yet.
Certificate newCertificate(EVP_PKEY* key, const std::string& name, int validFromDays, int validUntilDays) {
    constexpr long secondsOfADay = 24L * 60 * 60;
    constexpr long thirdVersion = 2;
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), thirdVersion);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), static_cast<long>(std::random_device()() >> 1U));
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), validFromDays * secondsOfADay);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validUntilDays * secondsOfADay);
    require(X509_set_pubkey(certificate.get(), key) == 1, "a public key");
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    return certificate;
}

void sign(X509* certificate, X509_NAME* issuer, EVP_PKEY* key) {
    X509_set_issuer_name(certificate, issuer);
    require(X509_sign(certificate, key, EVP_sha256()) > 0, "a signature");
}

/// A TCP socket on 127.0.0.1 that listens at a free port.
int listenOnLoopback(int& port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    require(bind(listener, reinterpret_cast<sockaddr*>(&address), size) == 0 && listen(listener, 64) == 0 &&
                getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) == 0,
            "a listener");
    port = ntohs(address.sin_port);
    return listener;
}

int connectToLoopback(int port) {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return connection;
    close(connection);
    return -1;
}

bool sendAll(int socket, const char* bytes, int size) {
    while (size > 0) {
        const auto count = send(socket, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL);
        if (count <= 0) return false;
        bytes += count;
        size -= static_cast<int>(count);
    }
    return true;
}

/// Passes on whatever comes from either side until one of them ends; an end without a farewell stays one.
void relay(SSL* session, int plain) {
    std::array<pollfd, 2> watched{{{SSL_get_fd(session), POLLIN, 0}, {plain, POLLIN, 0}}};
    std::array<char, 16384> buffer{};
    for (;;) {
        if (SSL_pending(session) == 0 && poll(watched.data(), watched.size(), -1) < 0) return;
        if (SSL_pending(session) > 0 || watched[0].revents != 0) {
            const int count = SSL_read(session, buffer.data(), buffer.size());
            if (count <= 0 || !sendAll(plain, buffer.data(), count)) return;
        }
        if (watched[1].revents != 0) {
            const auto count = recv(plain, buffer.data(), buffer.size(), 0);
            if (count <= 0 || SSL_write(session, buffer.data(), static_cast<int>(count)) <= 0) return;
        }
    }
}

}  // namespace

struct CertificateAuthority::Keys {
    Key key{EVP_EC_gen("P-256")};
    Certificate certificate = newCertificate(key.get(), "Authority of the test", /*validFromDays=*/-30,
                                             /*validUntilDays=*/30);
    std::string text;
};

CertificateAuthority::CertificateAuthority() : keys_(std::make_unique<Keys>()) {
    auto* certificate = keys_->certificate.get();
    addExtension(certificate, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
    sign(certificate, X509_get_subject_name(certificate), keys_->key.get());
    keys_->text = pemOf(certificate);
}

CertificateAuthority::~CertificateAuthority() = default;

const std::string& CertificateAuthority::certificate() const { return keys_->text; }

TlsIdentity CertificateAuthority::issue(const CertificateWish& wish) const {
    const Key key(EVP_EC_gen("P-256"));
    const auto certificate = newCertificate(key.get(), "Server of the test", wish.validFromDays, wish.validUntilDays);
    addExtension(certificate.get(), NID_subject_alt_name, wish.subjectNames);
    if (wish.isSelfSigned) {
        sign(certificate.get(), X509_get_subject_name(certificate.get()), key.get());
    } else {
        sign(certificate.get(), X509_get_subject_name(keys_->certificate.get()), keys_->key.get());
    }
    return {pemOf(certificate.get()), pemOf(key.get())};
}

struct TlsFront::Context {
    std::unique_ptr<SSL_CTX, Freed<SSL_CTX_free>> context{SSL_CTX_new(TLS_server_method())};

    void use(const TlsIdentity& identity) const {
        const Memory certificateText(BIO_new_mem_buf(identity.certificate.data(), -1));
        const Memory keyText(BIO_new_mem_buf(identity.key.data(), -1));
        const Certificate certificate(PEM_read_bio_X509(certificateText.get(), nullptr, nullptr, nullptr));
        const Key key(PEM_read_bio_PrivateKey(keyText.get(), nullptr, nullptr, nullptr));
        require(SSL_CTX_use_certificate(context.get(), certificate.get()) == 1 &&
                    SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1,
                "an identity");
    }
};

TlsFront::TlsFront(const TlsIdentity& identity, int plainPort, Version version)
    : context_(std::make_unique<Context>()), plainPort_(plainPort), listener_(listenOnLoopback(port_)) {
    context_->use(identity);
    if (version == Version::older) {
        auto* context = context_->context.get();
        require(SSL_CTX_set_cipher_list(context, "DEFAULT:@SECLEVEL=0") == 1 &&
                    SSL_CTX_set_min_proto_version(context, TLS1_VERSION) == 1 &&
                    SSL_CTX_set_max_proto_version(context, TLS1_1_VERSION) == 1,
                "an older version");
    }
    accepting_ = std::thread([this] { acceptAll(); });
}

TlsFront::~TlsFront() {
    shutdown(listener_, SHUT_RDWR);
    accepting_.join();
    for (const int socket : sockets_) shutdown(socket, SHUT_RDWR);
    for (auto& thread : threads_) thread.join();
    for (const int socket : sockets_) close(socket);
    close(listener_);
}

std::string TlsFront::urlFor(std::string_view host, std::string_view path) const {
    return "https://" + std::string(host) + ":" + std::to_string(port_) + std::string(path);
}

void TlsFront::acceptAll() {
    for (;;) {
        const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) return;
        const std::lock_guard lock(mutex_);
        sockets_.push_back(socket);
        threads_.emplace_back([this, socket] { serve(socket); });
    }
}

void TlsFront::serve(int socket) {
    const platform::BlockedBrokenPipe blocked;  // OpenSSL writes with plain `write`
    const Session session(SSL_new(context_->context.get()));
    SSL_set_fd(session.get(), socket);
    if (SSL_accept(session.get()) == 1) {
        ++handshakes_;
        if (const int plain = connectToLoopback(plainPort_); plain >= 0) {
            relay(session.get(), plain);
            close(plain);
        }
    }
    ERR_clear_error();
    shutdown(socket, SHUT_RDWR);
}

}  // namespace harvelstone::testing
