#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <zlib.h>

#include "tests/platform/HttpClientTest.hpp"
#include "tests/support/peak_memory.hpp"

/// The client against servers that are broken or mean harm: each request ends, in time, with the memory bounded.
namespace harvelstone::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class HostileServer : public HttpClientTest {
  protected:
    void expectFailure(const Outcome& outcome, const std::string& reason) {
        EXPECT_EQ(outcome.data, std::nullopt);
        EXPECT_THAT(outcome.reason(), HasSubstr(reason));
    }
    /// The client works on with the next request.
    void expectRecovery() {
        server_.setScript({answers("200 OK", "fine")});
        EXPECT_EQ(send(post("abc")).data, "fine");
    }
};

TEST(HttpLimits, AreThoseThatTheAppIsPromised) {
    const platform::HttpLimits limits;
    EXPECT_EQ(limits.connect, std::chrono::seconds(10));
    EXPECT_EQ(limits.silence, std::chrono::seconds(30));
    EXPECT_EQ(limits.total, std::chrono::minutes(5));
    EXPECT_EQ(limits.replyBytes, 64U * 1024);
    EXPECT_EQ(limits.replyHeadBytes, 64U * 1024);
    EXPECT_EQ(limits.redirects, 5);
}

TEST_F(HostileServer, ThatNobodyRunsGivesAnErrorAndNoData) {
    std::string url;
    {
        const LoopbackServer gone;
        url = gone.url();
    }
    const auto outcome = send(post(url, "abc"));

    expectFailure(outcome, "Failed to connect");
    EXPECT_EQ(outcome.response.status, 0);
}

TEST_F(HostileServer, WithAnUnknownNameGivesAnErrorAndNoData) {
    EXPECT_EQ(send(post("http://no-such-host.invalid/", "abc")).data, std::nullopt);
}

TEST_F(HostileServer, ThatStaysSilentIsLeftAfterTheSilenceLimit) {
    auto limits = wideLimits();
    limits.silence = std::chrono::seconds(1);
    useLimits(limits);
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        connection.waitForHangUp();
    }});
    const auto start = steady_clock::now();

    expectFailure(send(post("abc")), "too slow");

    EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(10));
    expectRecovery();
}

TEST_F(HostileServer, ThatNeverReadsTheBodyIsLeftAfterTheSilenceLimit) {
    auto limits = wideLimits();
    limits.silence = std::chrono::seconds(1);
    useLimits(limits);
    std::promise<void> isOver;
    server_.setScript({[&](WireConnection&) { isOver.get_future().wait(); }});

    const auto outcome = send(post(std::string(50'000'000, 'x')));
    isOver.set_value();

    expectFailure(outcome, "too slow");
}

TEST_F(HostileServer, ThatAnswersAByteAtATimeIsLeftAtTheCapOnTheWholeRequest) {
    auto limits = wideLimits();
    limits.total = milliseconds(500);
    useLimits(limits);
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
        while (connection.send("x")) std::this_thread::sleep_for(milliseconds(10));  // the server's slowness itself
    }});

    expectFailure(send(post("abc")), "timed out");
    expectRecovery();
}

TEST_F(HostileServer, WithAReplyOfExactlyTheCapIsHeard) {
    auto limits = wideLimits();
    limits.replyBytes = 1000;
    useLimits(limits);
    server_.setScript({answers("200 OK", std::string(1000, 'x'))});

    EXPECT_EQ(send(post("abc")).data, std::string(1000, 'x'));
}

TEST_F(HostileServer, WithAReplyAboveTheCapIsNotHeard) {
    auto limits = wideLimits();
    limits.replyBytes = 1000;
    useLimits(limits);
    server_.setScript({answers("200 OK", std::string(1001, 'x'))});

    const auto outcome = send(post("abc"));

    expectFailure(outcome, "the reply is larger than 1000 bytes");
    EXPECT_EQ(outcome.response.status, 200);
    expectRecovery();
}

TEST_F(HostileServer, WithABodyWithoutEndIsCutOff) {
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        const std::string piece(65536, 'x');
        while (connection.send(piece)) continue;
    }});

    expectFailure(send(post("abc")), "the reply is larger than 65536 bytes");
}

TEST_F(HostileServer, WithHeadersWithoutEndIsCutOff) {
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        connection.send("HTTP/1.1 200 OK\r\n");
        while (connection.send("X-More: and more\r\n")) continue;
    }});

    expectFailure(send(post("abc")), "the head of the reply is larger than 65536 bytes");
    expectRecovery();
}

TEST_F(HostileServer, WithOneHeaderLineWithoutEndIsCutOff) {
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        connection.send("HTTP/1.1 200 OK\r\nX: ");
        const std::string piece(65536, 'x');
        while (connection.send(piece)) continue;
    }});

    const auto outcome = send(post("abc"));

    expectFailure(outcome, "");
    EXPECT_THAT(outcome.reason(), Not(AnyOf(IsEmpty(), HasSubstr("timed out"), HasSubstr("too slow"))));
    expectRecovery();
}

TEST_F(HostileServer, WithAChunkSizeWithoutEndIsCutOff) {
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        connection.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2;");
        const std::string piece(65536, 'x');
        while (connection.send(piece)) continue;
    }});

    expectFailure(send(post("abc")), "the reply takes more than 65536 bytes around its body");
    expectRecovery();
}

TEST_F(HostileServer, WithABodyOfTheCapInChunksIsHeard) {
    const std::string body(platform::HttpLimits().replyBytes, 'x');
    std::string chunks;
    for (std::size_t place = 0; place < body.size(); place += 16) chunks += "10\r\n" + body.substr(place, 16) + "\r\n";
    server_.setScript({answers("200 OK", "first"),
                       sendsAndCloses("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks + "0\r\n\r\n")});
    send(post("abc"));

    EXPECT_EQ(send(post("abc")).data, body);
}

TEST_F(HostileServer, ThatSaysContinueForEverIsCutOff) {
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        while (connection.send("HTTP/1.1 100 Continue\r\n\r\n")) continue;
    }});

    expectFailure(send(post("abc")), "the head of the reply is larger than 65536 bytes");
}

TEST_F(HostileServer, ThatSaysContinueOnceIsHeard) {
    server_.setScript({[](WireConnection& connection) {
        connection.send("HTTP/1.1 100 Continue\r\n\r\n");
        connection.readBody();
        connection.send(answerText("200 OK", "{}", "X-Last: yes\r\n"));
    }});

    const auto outcome = send(post("abc"));

    EXPECT_EQ(outcome.data, "{}");
    EXPECT_EQ(outcome.response.status, 200);
    EXPECT_EQ(outcome.header("X-Last"), "yes");
}

TEST_F(HostileServer, ThatIsNoHttpServerGivesAnErrorAndNoData) {
    server_.setScript({sendsAndCloses("220 mail.example.com ESMTP\r\n")});

    EXPECT_EQ(send(post("abc")).data, std::nullopt);
    expectRecovery();
}

TEST_F(HostileServer, ThatHangsUpWithoutAnAnswerGivesAnErrorAndNoData) {
    server_.setScript({sendsAndCloses("")});

    expectFailure(send(post("abc")), "Empty reply");
    EXPECT_EQ(server_.waitForRequests(1).size(), 1U) << "a fresh connection is not tried twice";
}

TEST_F(HostileServer, ThatResetsInTheMiddleOfItsBodyGivesAnErrorAndNoData) {
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"retry\":");
        connection.reset();
    }});

    EXPECT_EQ(send(post("abc")).data, std::nullopt);
    expectRecovery();
}

TEST_F(HostileServer, ThatHangsUpInTheMiddleOfItsBodyGivesAnErrorAndNoData) {
    server_.setScript({sendsAndCloses("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{}")});

    EXPECT_EQ(send(post("abc")).data, std::nullopt);
}

TEST_F(HostileServer, ThatAnswersInTheOldVersionIsHeardEachTime) {
    server_.setScript({sendsAndCloses("HTTP/1.0 200 OK\r\n\r\n{}")});

    EXPECT_EQ(send(post("abc")).data, "{}");
    EXPECT_EQ(send(post("abc")).data, "{}");
}

TEST_F(HostileServer, ThatKeepsAConnectionInTheOldVersionIsHeardEachTime) {
    server_.setScript({[](WireConnection& connection) {
        connection.readBody();
        connection.send("HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nContent-Length: 2\r\n\r\n{}");
    }});

    EXPECT_EQ(send(post("abc")).data, "{}");
    EXPECT_EQ(send(post("abc")).data, "{}");
}

TEST_F(HostileServer, ThatClosesAKeptConnectionBehindOurBackGetsTheWholeBodyOnANewOne) {
    server_.setScript({answers("200 OK", "first"),
                       [](WireConnection& connection) {
                           connection.readBody();
                           connection.reset();
                       },
                       answers("200 OK", "second")});
    ASSERT_EQ(send(post("abc")).data, "first");

    EXPECT_EQ(send(post("abc")).data, "second");

    const auto sent = server_.waitForRequests(3);
    EXPECT_EQ(sent.at(1).connection, 0);
    EXPECT_EQ(sent.at(2).connection, 1);
    EXPECT_EQ(sent.at(2).body, "abc");
}

TEST_F(HostileServer, ThatClosesAKeptConnectionBehindOurBackGetsABodyOfKnownLengthOnANewOne) {
    std::size_t count = 0;
    for (const std::size_t length : {3U, 100'000U}) {
        client_ = std::make_unique<platform::CurlHttpClient>();
        server_.setScript({answers("200 OK", "first"),
                           [](WireConnection& connection) {
                               connection.readBody();
                               connection.reset();
                           },
                           answers("200 OK", "second")});
        const auto request = [&] { return withLength(post(std::string(length, 'x')), length); };
        ASSERT_EQ(send(request()).data, "first");

        EXPECT_EQ(send(request()).data, "second");

        EXPECT_EQ(server_.waitForRequests(count += 3).back().body, std::string(length, 'x'));
    }
}

/// libcurl tells an answer that has begun from none by its first whole line.
TEST_F(HostileServer, ThatBreaksOffTheFirstLineOfAnAnswerOnAKeptConnectionIsAskedAgain) {
    const Behaviour resets = [](WireConnection& connection) {
        connection.readBody();
        connection.send("HTTP/1.1 2");
        connection.reset();
    };
    for (const auto& breaksOff : {resets, sendsAndCloses("HTTP/1.1 2")}) {
        server_.setScript({answers("200 OK", "first"), breaksOff, answers("200 OK", "second")});
        send(post("abc"));

        EXPECT_EQ(send(post("abc")).data, "second");
        client_ = std::make_unique<platform::CurlHttpClient>();
    }
    EXPECT_EQ(server_.waitForRequests(6).size(), 6U);
}

TEST_F(HostileServer, ThatBreaksOffAnAnswerOnAKeptConnectionIsNotAskedAgain) {
    server_.setScript({answers("200 OK", "first"), sendsAndCloses("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{")});
    send(post("abc"));

    EXPECT_EQ(send(post("abc")).data, std::nullopt);

    EXPECT_EQ(server_.waitForRequests(2).size(), 2U);
    EXPECT_EQ(server_.connectionCount(), 1);
}

TEST_F(HostileServer, ThatAnswersBeforeItHasReadTheBodyAndHangsUpIsHeardOrGivesAnError) {
    server_.setScript({[](WireConnection& connection) {
        connection.send(answerText("413 Payload Too Large", "too large", "Connection: close\r\n"));
        connection.close();
    }});
    const std::string large(5'000'000, 'x');

    const auto outcome = send(withLength(post(large), large.size()));

    if (outcome.data) {
        EXPECT_EQ(outcome.data, "too large");
    } else {
        EXPECT_NE(outcome.reason(), "");
    }
    expectRecovery();
}

TEST_F(HostileServer, ThatAnswersBeforeItReadsTheBodyIsHeard) {
    for (const char* status : {"200 OK", "413 Payload Too Large"}) {
        SCOPED_TRACE(status);
        server_.setScript({[status](WireConnection& connection) {
            connection.send(answerText(status, "early"));
            connection.readBody();
        }});
        const std::string large(5'000'000, 'x');

        EXPECT_EQ(send(withLength(post(large), large.size())).data, "early");
    }
}

/// Someone else's answer must never be taken for that of the next request.
TEST_F(HostileServer, ThatSaysMoreThanItAnnouncedIsHeardOnceAndTheRestIsNoAnswer) {
    const auto forged = answerText("200 OK", "forged");
    for (const auto& first : {answerText("200 OK", "first") + forged, answerText("204 No Content", "") + forged}) {
        server_.setScript({[&](WireConnection& connection) {
                               connection.readBody();
                               connection.send(first);
                           },
                           answers("200 OK", "second")});
        send(post("abc"));

        EXPECT_EQ(send(post("abc")).data, "second");
        client_ = std::make_unique<platform::CurlHttpClient>();
    }
}

TEST_F(HostileServer, ThatSaysMoreAfterItsAnswerWasTakenIsNotHeard) {
    std::promise<void> isAnswered;
    server_.setScript({[&](WireConnection& connection) {
                           connection.readBody();
                           connection.send(answerText("200 OK", "first"));
                           isAnswered.get_future().wait();
                           connection.send(answerText("200 OK", "forged"));
                       },
                       answers("200 OK", "second")});
    ASSERT_EQ(send(post("abc")).data, "first");
    isAnswered.set_value();
    ASSERT_EQ(server_.waitForRequests(1).size(), 1U) << "the forged answer waits in the kept connection";

    EXPECT_EQ(send(post("abc")).data, "second");
}

/// gzip of a thousand times as many zeros, as a coding of the transfer, which the client undoes unasked.
TEST_F(HostileServer, WithABombForABodyIsCutOff) {
    std::string bomb(1U << 20U, '\0');
    z_stream stream{};
    std::string zeros(64U << 20U, '\0');
    ASSERT_EQ(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(zeros.data());
    stream.avail_in = static_cast<uInt>(zeros.size());
    stream.next_out = reinterpret_cast<Bytef*>(bomb.data());
    stream.avail_out = static_cast<uInt>(bomb.size());
    ASSERT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    bomb.resize(stream.total_out);
    deflateEnd(&stream);
    server_.setScript({sendsAndCloses("HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip\r\n\r\n" + bomb)});

    Outcome outcome;
    const auto peak = memoryPeakDuring([&] { outcome = send(post("abc")); });

    EXPECT_EQ(outcome.data, std::nullopt);
    EXPECT_LT(peak, 16U << 20U);
}

TEST_F(HostileServer, IsNotNeededForARequestThatTheLibraryRefuses) {
    auto request = post("abc");
    request.method = std::string(9'000'000, 'A');

    expectFailure(send(request), "libcurl option");
    EXPECT_EQ(server_.connectionCount(), 0);
    expectRecovery();
}

/// A body stream whose reading goes wrong half-way.
class BrokenStream final : public platform::BodyStream {
  public:
    explicit BrokenStream(bool isForeign) : isForeign_(isForeign) {}

    std::size_t read(std::span<char> buffer) override {
        if (isStarted_ && isForeign_) throw 7;
        if (isStarted_) throw std::runtime_error("the disk is gone");
        isStarted_ = true;
        buffer[0] = 'x';
        return 1;
    }
    void rewind() override { isStarted_ = false; }

  private:
    const bool isForeign_;  // raises what is no exception of the library's
    bool isStarted_ = false;
};

TEST_F(HostileServer, IsNotNeededForABodyStreamToRaise) {
    auto request = post("");
    request.body = std::make_shared<BrokenStream>(/*isForeign=*/false);
    expectFailure(send(request), "the disk is gone");

    request.body = std::make_shared<BrokenStream>(/*isForeign=*/true);
    expectFailure(send(request), "an exception of an unknown kind");
    expectRecovery();
}

TEST_F(HostileServer, NeverGetsABodyShorterThanAnnounced) {
    expectFailure(send(withLength(post(std::string(70'000, 'x')), 80'000)),
                  "the body ended after 70000 of 80000 announced bytes");
    expectRecovery();
}

TEST_F(HostileServer, HearsNothingOfAShortBodyThatCannotBeRead) {
    expectFailure(send(withLength(post("abc"), 5)), "the body ended after 3 of 5 announced bytes");
    auto request = withLength(post(""), 2);
    request.body = std::make_shared<BrokenStream>(/*isForeign=*/false);
    expectFailure(send(request), "the disk is gone");
    EXPECT_EQ(server_.connectionCount(), 0);
    expectRecovery();
}

TEST_F(HostileServer, NeverGetsABodyLongerThanAnnounced) {
    send(withLength(post("abcdef"), 3));

    EXPECT_EQ(server_.waitForRequests(1).at(0).rawBody, "abc");
    EXPECT_EQ(send(post("abc")).data, "{}") << "nothing of the first body was left on the connection";
}

}  // namespace
}  // namespace harvelstone::testing
