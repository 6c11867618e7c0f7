#include "tools/collector.hpp"

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "harvelstone/services/HV_GZIP.hpp"

namespace harvelstone::tools {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// A client that writes bytes and reads what comes, nothing more.
class RawClient {
  public:
    explicit RawClient(const std::string& address) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in place{};
        place.sin_family = AF_INET;
        place.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1))));
        place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval limit{20, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        EXPECT_EQ(::connect(socket_, reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    }
    ~RawClient() { ::close(socket_); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void send(const std::string& bytes) { ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    void endSending() { ::shutdown(socket_, SHUT_WR); }

    /// Reads up to the end of one answer, or to the end of the connection.
    std::string receive() {
        std::string answer;
        char byte = 0;
        while (!isWhole(answer) && ::recv(socket_, &byte, 1, 0) == 1) answer.push_back(byte);
        return answer;
    }

    std::string post(const std::string& body) {
        send("POST /documents HTTP/1.1\r\nHost: localhost\r\nContent-Encoding: gzip\r\nContent-Length: " +
             std::to_string(body.size()) + "\r\n\r\n" + body);
        return receive();
    }

  private:
    static bool isWhole(const std::string& answer) {
        const auto headEnd = answer.find("\r\n\r\n");
        if (headEnd == std::string::npos) return false;
        const auto length = answer.find("Content-Length: ");
        const auto size = length == std::string::npos ? 0 : std::stoul(answer.substr(length + 16));
        return answer.size() >= headEnd + 4 + size;
    }

    const int socket_;
};

class CollectorTest : public ::testing::Test {
  protected:
    /// What the collector reports goes into this object, so it ends first.
    ~CollectorTest() override { collector_.reset(); }

    void start(CollectorOptions options = {}) {
        CollectorEvents events;
        events.received = [this](const DecodedBody& body) {
            const std::lock_guard lock(mutex_);
            documents_.push_back(body.json);
            return canKeep_.load();
        };
        events.refused = [this](const std::string& reason) {
            const std::lock_guard lock(mutex_);
            refusals_.push_back(reason);
        };
        collector_ = std::make_unique<Collector>(std::move(options), std::move(events));
        ASSERT_TRUE(collector_->start());
    }

    void startWithReplies(const std::string& replies) {
        CollectorOptions options;
        options.replies = parseReplies(replies, "replies.jsonl");
        start(std::move(options));
    }

    std::string post(const std::string& body) { return RawClient(collector_->address()).post(body); }
    std::string postDocument() { return post(document_); }

    std::vector<std::string> documents() {
        const std::lock_guard lock(mutex_);
        return documents_;
    }
    std::vector<std::string> refusals() {
        const std::lock_guard lock(mutex_);
        return refusals_;
    }

    const std::string document_ = HV_GZIP().gzippedData("%7B%22a%22%3A1%7D");
    std::atomic<bool> canKeep_{true};
    std::unique_ptr<Collector> collector_;

  private:
    std::mutex mutex_;
    std::vector<std::string> documents_;
    std::vector<std::string> refusals_;
};

TEST_F(CollectorTest, AnswersADocumentWithAnEmptyObject) {
    start();
    const auto answer = postDocument();
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_TRUE(answer.ends_with("\r\n\r\n{}"));
    EXPECT_THAT(documents(), ElementsAre("{\"a\":1}"));
}

TEST_F(CollectorTest, TakesAChunkedBody) {
    start();
    RawClient client(collector_->address());
    client.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n");
    for (const char byte : document_) client.send("1\r\n" + std::string(1, byte) + "\r\n");
    client.send("0\r\n\r\n");
    EXPECT_THAT(client.receive(), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(documents(), ElementsAre("{\"a\":1}"));
}

TEST_F(CollectorTest, KeepsAConnectionForManyDocuments) {
    start();
    RawClient client(collector_->address());
    for (int i = 0; i < 20; ++i) EXPECT_THAT(client.post(document_), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(documents().size(), 20U);
}

TEST_F(CollectorTest, RefusesABodyThatDoesNotDecode) {
    start();
    EXPECT_THAT(post("no gzip"), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    EXPECT_THAT(post(HV_GZIP().gzippedData("%7")), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    EXPECT_THAT(post(HV_GZIP().gzippedData("%7B")), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    EXPECT_THAT(refusals(),
                ElementsAre("the body is no whole gzip stream",
                            "no two hexadecimal digits after the \"%\" at byte 0 of the percent-encoded text",
                            "the decoded text is no JSON in UTF-8"));
    EXPECT_THAT(documents(), IsEmpty());
}

TEST_F(CollectorTest, ARefusalSaysWhyInItsBody) {
    start();
    EXPECT_TRUE(post("no gzip").ends_with("\r\n\r\nthe body is no whole gzip stream\n"));
}

TEST_F(CollectorTest, RefusesABodyBeyondTheLimitAndGoesOn) {
    CollectorOptions options;
    options.limits.body = 1000;
    start(std::move(options));
    RawClient client(collector_->address());
    EXPECT_THAT(client.post(std::string(3000, 'x')), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    EXPECT_THAT(client.post(document_), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(refusals(), ElementsAre("the body is larger than 1000 bytes"));
}

TEST_F(CollectorTest, GivesUpOnABodyFarBeyondTheLimit) {
    CollectorOptions options;
    options.limits.body = 1000;
    start(std::move(options));
    RawClient client(collector_->address());
    const auto answer = client.post(std::string(1'000'000, 'x'));
    EXPECT_TRUE(answer.empty() || answer.starts_with("HTTP/1.1 400 Bad Request\r\n")) << answer;
    EXPECT_THAT(refusals(), ElementsAre("the body is larger than 1000 bytes"));
}

TEST_F(CollectorTest, RefusesABodyThatInflatesBeyondTheLimit) {
    CollectorOptions options;
    options.limits.inflated = 1000;
    start(std::move(options));
    EXPECT_THAT(post(HV_GZIP().gzippedData(std::string(1001, 'x'))), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    EXPECT_THAT(refusals(), ElementsAre("the gunzipped body is larger than 1000 bytes"));
}

TEST_F(CollectorTest, RefusesABodyThatEndsTooEarly) {
    start();
    RawClient client(collector_->address());
    client.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 100\r\n\r\nabc");
    client.endSending();
    client.receive();
    collector_->stop();
    EXPECT_THAT(refusals(), ElementsAre("the body ended before its announced end"));
}

TEST_F(CollectorTest, WhatIsNeitherUploadNorPageNorApiIsNotFound) {
    start();
    RawClient client(collector_->address());
    client.send("GET /documents HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(client.receive(), StartsWith("HTTP/1.1 404 Not Found\r\n"));
}

TEST_F(CollectorTest, RepliesComeInOrderAndTheLastRepeats) {
    startWithReplies("{\"status\": 503, \"body\": \"busy\"}\n{\"body\": {\"retry\": true}}\n");
    const auto first = postDocument();
    EXPECT_THAT(first, StartsWith("HTTP/1.1 503 Service Unavailable\r\n"));
    EXPECT_TRUE(first.ends_with("\r\n\r\nbusy"));
    EXPECT_TRUE(postDocument().ends_with("\r\n\r\n{\"retry\":true}"));
    EXPECT_TRUE(postDocument().ends_with("\r\n\r\n{\"retry\":true}"));
}

TEST_F(CollectorTest, ARefusedBodyTakesNoReply) {
    startWithReplies("{\"body\": \"first\"}\n{\"body\": \"second\"}\n");
    post("no gzip");
    EXPECT_TRUE(postDocument().ends_with("first"));
}

TEST_F(CollectorTest, ClosesWithoutAnyByteOfAnAnswer) {
    startWithReplies("{\"close\": true}\n{}\n");
    EXPECT_EQ(postDocument(), "");
    EXPECT_THAT(postDocument(), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(documents().size(), 2U);
}

TEST_F(CollectorTest, AReplyIsHeldBackForItsDelay) {
    startWithReplies("{\"delay\": 0.2}\n");
    const auto start = std::chrono::steady_clock::now();
    postDocument();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
}

TEST_F(CollectorTest, StoppingDropsADelayedReply) {
    startWithReplies("{\"delay\": 600}\n");
    RawClient client(collector_->address());
    client.send("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(document_.size()) + "\r\n\r\n" + document_);
    while (documents().empty()) std::this_thread::yield();
    collector_->stop();
    EXPECT_EQ(client.receive(), "");
}

TEST_F(CollectorTest, ADocumentThatCannotBeKeptIsAnswered500) {
    start();
    canKeep_ = false;
    EXPECT_THAT(postDocument(), StartsWith("HTTP/1.1 500 Internal Server Error\r\n"));
}

TEST_F(CollectorTest, APortThatIsTakenIsNotShared) {
    start();
    const auto& address = collector_->address();
    CollectorOptions options;
    options.port = std::stoi(address.substr(address.rfind(':') + 1));
    Collector second(std::move(options), {});
    EXPECT_FALSE(second.start());
}

}  // namespace

}  // namespace harvelstone::tools
