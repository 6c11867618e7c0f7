#include <atomic>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/HostRunLoop.hpp"

#include "tests/platform/HttpClientTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

class CurlHttpClient : public HttpClientTest {};

TEST_F(CurlHttpClient, SendsTheHeadersAskedForAndNoOthersButItsOwnThree) {
    auto request = withLength(post("abc"), 3);
    request.headers.push_back({"Content-Encoding", "gzip"});

    send(request);

    const auto sent = server_.waitForRequests(1).at(0);
    EXPECT_EQ(sent.requestLine(), "POST / HTTP/1.1");
    EXPECT_THAT(sent.headerLines(),
                UnorderedElementsAre("Host: 127.0.0.1:" + std::to_string(server_.port()), "User-Agent: harvelstone",
                                     "Accept: */*", "Content-Type: application/octet-stream", "Content-Encoding: gzip",
                                     "Content-Length: 3"));
    EXPECT_EQ(sent.rawBody, "abc");
}

TEST_F(CurlHttpClient, SendsTheBodyInChunksWithoutAContentLength) {
    send(post("abc"));

    const auto sent = server_.waitForRequests(1).at(0);
    EXPECT_THAT(
        sent.headerLines(),
        UnorderedElementsAre("Host: 127.0.0.1:" + std::to_string(server_.port()), "User-Agent: harvelstone",
                             "Accept: */*", "Content-Type: application/octet-stream", "Transfer-Encoding: chunked"));
    EXPECT_EQ(sent.rawBody, "3\r\nabc\r\n0\r\n\r\n");
}

TEST_F(CurlHttpClient, SendsAShortBodyTogetherWithTheHead) {
    std::size_t bytesBehindHead = 0;
    server_.setScript({[&](WireConnection& connection) {
        bytesBehindHead += connection.bytesBehindHead();
        connection.readBody();
        connection.send(answerText("200 OK", "{}"));
    }});

    for (int i = 0; i < 20; ++i) send(withLength(post("abc"), 3));

    server_.waitForRequests(20);
    EXPECT_EQ(bytesBehindHead, 60U);
}

TEST_F(CurlHttpClient, SendsBodiesOfAllLengthsWhole) {
    std::string body;
    std::size_t count = 0;
    for (const std::size_t length : {1U, 16U * 1024, 32U * 1024, 32U * 1024 + 1, 200'000U}) {
        while (body.size() < length) body += static_cast<char>('a' + body.size() % 23);
        send(withLength(post(body), length));
        EXPECT_TRUE(server_.waitForRequests(++count).back().body == body) << length;
    }
}

TEST_F(CurlHttpClient, AsksForNoConsentBeforeALargeBody) {
    const std::string large(3'000'000, 'x');

    send(withLength(post(large), large.size()));
    send(post(large));

    for (const auto& sent : server_.waitForRequests(2)) {
        EXPECT_EQ(sent.header("Expect"), std::nullopt);
        EXPECT_TRUE(sent.body == large);
    }
}

TEST_F(CurlHttpClient, AddsNoContentTypeUnasked) {
    auto request = post("abc");
    request.headers.clear();

    send(request);

    EXPECT_EQ(server_.waitForRequests(1).at(0).header("Content-Type"), std::nullopt);
}

TEST_F(CurlHttpClient, SendsAnEmptyBodyWithEitherFraming) {
    send(withLength(post(""), 0));
    send(post(""));

    const auto sent = server_.waitForRequests(2);
    EXPECT_EQ(sent.at(0).header("Content-Length"), "0");
    EXPECT_EQ(sent.at(1).rawBody, "0\r\n\r\n");
}

TEST_F(CurlHttpClient, SendsAGetWithoutBody) {
    platform::HttpRequest request;
    request.url = server_.url("/status?x=1");

    EXPECT_EQ(send(request).data, "{}");

    const auto sent = server_.waitForRequests(1).at(0);
    EXPECT_EQ(sent.requestLine(), "GET /status?x=1 HTTP/1.1");
    EXPECT_EQ(sent.header("Content-Length"), std::nullopt);
    EXPECT_EQ(sent.header("Transfer-Encoding"), std::nullopt);
}

TEST_F(CurlHttpClient, ExpectsNoBodyAfterAHead) {
    platform::HttpRequest request;
    request.url = server_.url();
    request.method = "HEAD";
    server_.setScript({sendsAndCloses("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n")});

    const auto outcome = send(request);

    EXPECT_EQ(outcome.data, "");
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(server_.waitForRequests(1).at(0).requestLine(), "HEAD / HTTP/1.1");
}

TEST_F(CurlHttpClient, GivesTheAnswerWhateverItsStatus) {
    for (const char* status : {"200 OK", "204 No Content", "404 Not Found", "500 Internal Server Error", "599 Odd"}) {
        SCOPED_TRACE(status);
        const std::string body = std::string(status).starts_with("204") ? "" : "{\"a\":1}";
        server_.setScript({answers(status, body, "X-Mark: yes \r\n")});

        const auto outcome = send(post("abc"));

        EXPECT_EQ(outcome.data, body);
        EXPECT_FALSE(outcome.error);
        EXPECT_EQ(outcome.response.status, std::stoi(status));
        EXPECT_EQ(outcome.header("X-Mark"), "yes");
    }
}

TEST_F(CurlHttpClient, GivesAnEmptyBodyAsEmptyText) {
    server_.setScript({answers("200 OK", "")});

    const auto outcome = send(post("abc"));

    EXPECT_EQ(outcome.data, "");
    EXPECT_FALSE(outcome.error);
}

TEST_F(CurlHttpClient, GivesACompressedReplyAsItCame) {
    const std::string rubbish("\x1f\x8b\x08\x00\xff\x00\x01", 7);
    server_.setScript({answers("200 OK", rubbish, "Content-Encoding: gzip\r\n")});

    EXPECT_EQ(send(post("abc")).data, rubbish);
    EXPECT_EQ(server_.waitForRequests(1).at(0).header("Accept-Encoding"), std::nullopt);
}

TEST_F(CurlHttpClient, KeepsNoCookieThatAServerSets) {
    server_.setScript({answers("200 OK", "{}", "Set-Cookie: id=1; Path=/\r\n")});

    send(post("abc"));
    send(post("abc"));

    const auto sent = server_.waitForRequests(2);
    EXPECT_EQ(sent.at(1).connection, 0) << "the second request used the very handle that saw the cookie";
    EXPECT_EQ(sent.at(1).header("Cookie"), std::nullopt);
}

TEST_F(CurlHttpClient, UsesOneConnectionForARowOfRequests) {
    for (int i = 0; i < 50; ++i) send(withLength(post("abc"), 3));

    EXPECT_EQ(server_.waitForRequests(50).size(), 50U);
    EXPECT_EQ(server_.connectionCount(), 1);
}

TEST_F(CurlHttpClient, UsesTheConnectionAgainForARequestThatACompletionStarts) {
    std::promise<void> done;
    std::function<void(int)> sendNext = [&](int left) {
        client_->sendAsynchronousRequest(post("abc"), workers_.newOperationQueue(),
                                         [&, left](const auto&, const auto&, const auto&) {
                                             if (left == 0) return done.set_value();
                                             sendNext(left - 1);
                                         });
    };
    sendNext(20);
    ASSERT_EQ(done.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);

    EXPECT_EQ(server_.connectionCount(), 1);
}

TEST_F(CurlHttpClient, SendsRequestsSideBySideOnConnectionsOfTheirOwn) {
    std::atomic<int> inside = 0;
    server_.setScript({[&](WireConnection& connection) {
        connection.readBody();
        for (++inside; inside < 8;) std::this_thread::yield();  // each waits until all have come
        connection.send(answerText("200 OK", "{}"));
    }});

    std::vector<std::future<Outcome>> outcomes;
    for (int i = 0; i < 8; ++i) outcomes.push_back(start(post("abc")));

    for (auto& outcome : outcomes) EXPECT_EQ(await(std::move(outcome)).data, "{}");
    EXPECT_EQ(server_.connectionCount(), 8);
}

TEST_F(CurlHttpClient, CompletesOnTheRequestsOwnQueue) {
    const auto queue = workers_.newOperationQueue();
    std::promise<std::pair<std::shared_ptr<platform::RunLoop>, std::thread::id>> seen;
    client_->sendAsynchronousRequest(post("abc"), queue, [&](const auto&, const auto&, const auto&) {
        seen.set_value({platform::RunLoop::current(), std::this_thread::get_id()});
    });

    const auto [loop, thread] = seen.get_future().get();

    EXPECT_EQ(loop, queue);
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(CurlHttpClient, LetsACompletionDelayACallOnItsQueueWhichNobodyElseHolds) {
    std::promise<double> waited;
    client_->sendAsynchronousRequest(
        post("abc"), workers_.newOperationQueue(), [&](const auto&, const auto&, const auto&) {
            const auto start = std::chrono::steady_clock::now();
            platform::RunLoop::current()->callAfter(platform::Seconds(0.05), [&waited, start] {
                waited.set_value(platform::Seconds(std::chrono::steady_clock::now() - start).count());
            });
        });

    auto future = waited.get_future();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_GE(future.get(), 0.05);
}

TEST_F(CurlHttpClient, OutlivesItsClientObject) {
    std::promise<void> letGo;
    server_.setScript({[&](WireConnection& connection) {
        connection.readBody();
        letGo.get_future().wait();
        connection.send(answerText("200 OK", "late"));
    }});
    auto outcome = start(post("abc"));
    client_.reset();
    letGo.set_value();

    EXPECT_EQ(await(std::move(outcome)).data, "late");
}

TEST_F(CurlHttpClient, LeavesTheParentsConnectionAloneInAForkedChild) {
    send(post("abc"));
    const auto child = fork();
    if (child == 0) {
        const auto queue =
            std::make_shared<platform::HostRunLoop>();  // on this thread: it is the only one of the child
        bool isAnswered = false;
        client_->sendAsynchronousRequest(post("of the child"), queue, [&](const auto&, const auto& data, const auto&) {
            isAnswered = data == "{}";
        });
        queue->runUntilIdle();
        _exit(isAnswered ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    send(post("abc"));

    const auto sent = server_.waitForRequests(3);
    EXPECT_EQ(sent.at(1).body, "of the child");
    EXPECT_EQ(sent.at(1).connection, 1);
    EXPECT_EQ(sent.at(2).connection, 0);
}

TEST_F(CurlHttpClient, RaisesForAUrlThatItCannotSendToAndNeverCompletes) {
    bool isCompleted = false;
    const auto queue = workers_.newOperationQueue();
    try {
        client_->sendAsynchronousRequest(post("ftp://example.com/", "abc"), queue,
                                         [&](const auto&, const auto&, const auto&) { isCompleted = true; });
        FAIL() << "nothing was raised";
    } catch (const platform::InvalidArgumentException& exception) {
        EXPECT_EQ(exception.reason(), "the scheme of the URL \"ftp://example.com/\" is neither http nor https: ftp");
    }
    EXPECT_EQ(workers_.threadCount(), 0U) << "the queue got no task";
    EXPECT_FALSE(isCompleted);
}

TEST_F(CurlHttpClient, RefusesWhatWouldBreakTheRequestsHead) {
    struct Row {
        const char* what;
        std::function<void(platform::HttpRequest&)> spoil;
    };
    const std::vector<Row> rows = {
        {"line feed in a value",
         [](auto& request) {
             request.headers.push_back({"A", "b\nCookie: c"});
         }},
        {"NUL in a value",
         [](auto& request) {
             request.headers.push_back({"A", std::string("b\0c", 3)});
         }},
        {"colon in a name",
         [](auto& request) {
             request.headers.push_back({"A: b", "c"});
         }},
        {"no name",
         [](auto& request) {
             request.headers.push_back({"", "c"});
         }},
        {"blank in the method", [](auto& request) { request.method = "POST /x"; }},
        {"no method", [](auto& request) { request.method = ""; }},
        {"negative length",
         [](auto& request) {
             request.headers.push_back({"content-length", "-1"});
         }},
        {"length and more",
         [](auto& request) {
             request.headers.push_back({"Content-Length", "3 "});
         }},
        {"length beyond 64 bits",
         [](auto& request) {
             request.headers.push_back({"Content-Length", "9999999999999999999"});
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        auto request = post("abc");
        row.spoil(request);
        EXPECT_THROW(start(request), platform::InvalidArgumentException);
    }
    EXPECT_EQ(server_.connectionCount(), 0);
}

TEST_F(CurlHttpClient, SendsAHeaderWithAnEmptyValue) {
    auto request = post("abc");
    request.headers.push_back({"X-Empty", ""});

    send(request);

    EXPECT_THAT(server_.waitForRequests(1).at(0).headerLines(), ::testing::Contains("X-Empty:"));
}

}  // namespace
}  // namespace harvelstone::testing
