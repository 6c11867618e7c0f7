#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harvelstone/platform/Exception.hpp"

#include "tests/platform/HttpClientTest.hpp"
#include "tests/support/TestPlatform.hpp"
#include "tests/support/TlsFront.hpp"

/// The client against servers over TLS, in order and not.
namespace harvelstone::testing {
namespace {

using ::testing::HasSubstr;

class Tls : public HttpClientTest {
  protected:
    Tls() { trust(authority_.certificate()); }

    void trust(const std::string& certificates) {
        const auto path = folder_.path() + "/authorities.pem";
        std::ofstream(path) << certificates;
        client_ = std::make_unique<platform::CurlHttpClient>(platform::CurlSettings{limits_, path});
    }
    void expectRefusal(const std::string& url, const std::string& reason) {
        const auto outcome = send(post(url, "abc"));
        EXPECT_EQ(outcome.data, std::nullopt);
        EXPECT_EQ(outcome.response.status, 0);
        EXPECT_THAT(outcome.reason(), HasSubstr(reason));
        EXPECT_TRUE(server_.requests().empty()) << "nothing of the request was sent";
    }

    TemporaryFolder folder_;
    CertificateAuthority authority_;
    platform::HttpLimits limits_;
};

TEST_F(Tls, WithACertificateOfTheGivenAuthorityIsUsedForARowOfRequests) {
    const TlsFront front(authority_.issue(), server_.port());

    EXPECT_EQ(send(post(front.url(), "abc")).data, "{}");
    EXPECT_EQ(send(post(front.url(), "def")).data, "{}");

    EXPECT_EQ(server_.waitForRequests(2).at(1).body, "def");
    EXPECT_EQ(front.handshakeCount(), 1);
}

TEST_F(Tls, WithANameInsteadOfANumberIsUsed) {
    const TlsFront front(authority_.issue({.subjectNames = "DNS:localhost"}), server_.port());

    EXPECT_EQ(send(post(front.urlFor("localhost"), "abc")).data, "{}");
}

TEST_F(Tls, OfAnAuthorityThatNobodyGaveIsRefused) {
    client_ = std::make_unique<platform::CurlHttpClient>();  // with those of the system
    const TlsFront front(authority_.issue(), server_.port());

    expectRefusal(front.url(), "SSL certificate problem: unable to get local issuer certificate");
}

TEST_F(Tls, OfAnotherAuthorityThanTheGivenOneIsRefused) {
    trust(CertificateAuthority().certificate());
    const TlsFront front(authority_.issue(), server_.port());

    expectRefusal(front.url(), "");
}

TEST_F(Tls, WithAWrongNameIsRefused) {
    for (const char* names : {"DNS:collector.example", "IP:127.0.0.2", "DNS:127.0.0.1"}) {
        SCOPED_TRACE(names);
        const TlsFront front(authority_.issue({.subjectNames = names}), server_.port());
        expectRefusal(front.url(), "no alternative certificate subject name matches");
    }
}

TEST_F(Tls, WithAnExpiredCertificateIsRefused) {
    const TlsFront front(authority_.issue({.validFromDays = -2, .validUntilDays = -1}), server_.port());

    expectRefusal(front.url(), "SSL certificate problem: certificate has expired");
}

TEST_F(Tls, WithACertificateOfTheFutureIsRefused) {
    const TlsFront front(authority_.issue({.validFromDays = 1, .validUntilDays = 2}), server_.port());

    expectRefusal(front.url(), "SSL certificate problem: certificate is not yet valid");
}

TEST_F(Tls, WithACertificateThatOnlyVouchesForItselfIsRefused) {
    const TlsFront front(authority_.issue({.isSelfSigned = true}), server_.port());

    expectRefusal(front.url(), "SSL certificate problem: self-signed certificate");
}

TEST_F(Tls, WithACertificateThatVouchesForItselfIsUsedWhenItWasGiven) {
    const auto identity = authority_.issue({.isSelfSigned = true});
    trust(identity.certificate);
    const TlsFront front(identity, server_.port());

    EXPECT_EQ(send(post(front.url(), "abc")).data, "{}");
}

TEST_F(Tls, OfAnOldVersionIsRefused) {
    const TlsFront front(authority_.issue(), server_.port(), TlsFront::Version::older);

    expectRefusal(front.url(), "alert protocol version");
}

TEST_F(Tls, IsNotDoneWithout) {
    const auto outcome = send(post("https://127.0.0.1:" + std::to_string(server_.port()) + "/", "abc"));

    EXPECT_EQ(outcome.data, std::nullopt);
    EXPECT_TRUE(server_.requests().empty());
}

TEST_F(Tls, WhoseServerNeverShakesHandsIsLeftAfterTheLimitForConnecting) {
    limits_.connect = std::chrono::milliseconds(300);
    trust(authority_.certificate());
    server_.setScript({[](WireConnection& connection) { connection.waitForHangUp(); }});
    const auto start = std::chrono::steady_clock::now();

    const auto outcome = send(post("https://127.0.0.1:" + std::to_string(server_.port()) + "/", "abc"));

    EXPECT_EQ(outcome.data, std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(Tls, NeverLeadsOnToPlainHttpOrToAFile) {
    const TlsFront front(authority_.issue(), server_.port());
    server_.setScript({redirectsTo(server_.url("/plain")), redirectsTo("file:///etc/hostname")});

    EXPECT_EQ(send(post(front.url(), "abc")).reason(), "the answer redirects from https to http");
    EXPECT_THAT(send(post(front.url(), "abc")).reason(), HasSubstr("neither http nor https: file"));
    EXPECT_EQ(server_.waitForRequests(2).size(), 2U) << "no third one came to the plain address";
}

TEST_F(Tls, LeadsOnToTls) {
    const TlsFront front(authority_.issue(), server_.port());
    server_.setScript({redirectsTo(front.url("/new")), answers("200 OK", "arrived")});

    EXPECT_EQ(send(post(front.url(), "abc")).data, "arrived");
}

TEST_F(Tls, ThatLeadsOnToAnUntrustedServerIsRefusedThere) {
    const TlsFront front(authority_.issue(), server_.port());
    LoopbackServer other;
    const TlsFront untrusted(authority_.issue({.isSelfSigned = true}), other.port());
    server_.setScript({redirectsTo(untrusted.url())});

    EXPECT_THAT(send(post(front.url(), "abc")).reason(), HasSubstr("SSL certificate problem"));
    EXPECT_EQ(other.connectionCount(), 0);
}

TEST_F(Tls, ThatBreaksOffInTheMiddleOfItsBodyIsNoAnswer) {
    const TlsFront front(authority_.issue(), server_.port());
    server_.setScript({sendsAndCloses("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"retry\":true}")});

    EXPECT_EQ(send(post(front.url(), "abc")).data, std::nullopt);
}

TEST_F(Tls, WhoseServerIsGoneEndsNobodyWhenTheKeptConnectionIsClosed) {
    {
        const TlsFront front(authority_.issue(), server_.port());
        EXPECT_EQ(send(post(front.url(), "abc")).data, "{}");
    }
    client_.reset();  // says farewell to a closed connection, and no signal comes of it
}

TEST_F(Tls, AuthoritiesThatCannotBeReadAreRefusedBeforeAnyRequest) {
    const auto refusalOf = [](const std::string& path) {
        try {
            platform::CurlHttpClient client({{}, path});
        } catch (const platform::InvalidArgumentException& exception) {
            return exception.reason();
        }
        return std::string("none");
    };
    const auto path = folder_.path() + "/none.pem";
    EXPECT_EQ(refusalOf(path), "the file of certificate authorities \"" + path + "\" cannot be read");
    EXPECT_EQ(refusalOf(folder_.path()),
              "the file of certificate authorities \"" + folder_.path() + "\" cannot be read");
    std::ofstream(path) << "no certificate";
    EXPECT_EQ(refusalOf(path), "the file of certificate authorities \"" + path + "\" holds no certificate");
}

TEST_F(Tls, AuthoritiesThatAreGoneLaterFailTheRequestAndNoMore) {
    std::filesystem::remove(folder_.path() + "/authorities.pem");
    const TlsFront front(authority_.issue(), server_.port());

    EXPECT_EQ(send(post(front.url(), "abc")).data, std::nullopt);
    EXPECT_EQ(send(post("abc")).data, "{}") << "over plain HTTP";
}

}  // namespace
}  // namespace harvelstone::testing
