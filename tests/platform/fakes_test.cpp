#include <array>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/stat.h>
#include <zlib.h>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using platform::HttpError;
using platform::HttpRequest;
using platform::HttpResponse;
using platform::InvalidArgumentException;
using platform::RunLoop;
using platform::Seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FakeClock, StandsUntilItIsMoved) {
    FakeClock clock;
    EXPECT_EQ(clock.now(), 1'479'259'200.5);
    EXPECT_EQ(clock.now(), 1'479'259'200.5);
    clock.advance(30);
    EXPECT_EQ(clock.now(), 1'479'259'230.5);
    clock.advance(-60);
    EXPECT_EQ(clock.now(), 1'479'259'170.5);
    clock.set(7);
    EXPECT_EQ(clock.now(), 7);
}

TEST(FakeClock, TellsReadingsApart) {
    FakeClock clock;
    clock.set(100);
    clock.tickPerReading(0.5);
    EXPECT_EQ(clock.now(), 100);
    EXPECT_EQ(clock.now(), 100.5);
    EXPECT_EQ(clock.now(), 101);
}

struct ManualRunLoopTest : ::testing::Test {
    std::shared_ptr<ManualRunLoop> loop = std::make_shared<ManualRunLoop>();
    std::vector<std::string> ran;

    platform::Task task(const std::string& name) {
        return [this, name] { ran.push_back(name); };
    }
};

TEST_F(ManualRunLoopTest, RunsNothingByItself) {
    loop->post(task("posted"));
    loop->callAfter(Seconds(1), task("later"));
    EXPECT_THAT(ran, IsEmpty());
    EXPECT_THAT(loop->pendingDelays(), ElementsAre(0.0, 1.0));
}

TEST_F(ManualRunLoopTest, RunsPostedTasksInTheirOrder) {
    loop->post(task("first"));
    loop->callAfter(Seconds(0.1), task("later"));
    loop->post(task("second"));
    loop->runPosted();
    EXPECT_THAT(ran, ElementsAre("first", "second"));
}

TEST_F(ManualRunLoopTest, RunsDelayedTasksWhenTheirTimeHasCome) {
    loop->callAfter(Seconds(2), task("two"));
    loop->callAfter(Seconds(1), task("one"));
    loop->callAfter(Seconds(2), task("two again"));
    loop->advance(0.5);
    EXPECT_THAT(ran, IsEmpty());
    EXPECT_THAT(loop->pendingDelays(), ElementsAre(0.5, 1.5, 1.5));
    loop->advance(0.5);
    EXPECT_THAT(ran, ElementsAre("one"));
    loop->advance(10);
    EXPECT_THAT(ran, ElementsAre("one", "two", "two again"));
    EXPECT_THAT(loop->pendingDelays(), IsEmpty());
}

TEST_F(ManualRunLoopTest, CountsADelayFromTheTaskThatAskedForIt) {
    loop->callAfter(Seconds(1), [this] { loop->callAfter(Seconds(1), task("repeat")); });
    loop->advance(1.75);
    EXPECT_THAT(ran, IsEmpty());
    EXPECT_THAT(loop->pendingDelays(), ElementsAre(0.25));
    loop->advance(0.25);
    EXPECT_THAT(ran, ElementsAre("repeat"));
}

TEST_F(ManualRunLoopTest, TakesANegativeDelayForNone) {
    loop->callAfter(Seconds(-5), task("now"));
    EXPECT_THAT(loop->pendingDelays(), ElementsAre(0.0));
    loop->runPosted();
    EXPECT_THAT(ran, ElementsAre("now"));
}

TEST_F(ManualRunLoopTest, IsCurrentWhileItRunsTasks) {
    std::shared_ptr<RunLoop> seen;
    loop->post([&] { seen = RunLoop::current(); });
    EXPECT_EQ(RunLoop::current(), nullptr);
    loop->runPosted();
    EXPECT_EQ(seen, loop);
    EXPECT_EQ(RunLoop::current(), nullptr);
}

TEST(ManualWorkers, HandsOutAFreshQueueEachTime) {
    ManualWorkers workers;
    const auto first = workers.newOperationQueue();
    const auto second = workers.newOperationQueue();
    EXPECT_NE(first, second);
    EXPECT_THAT(workers.queues, ElementsAre(first, second));
}

std::string gzipped(const std::string& text) {
    constexpr int asGzip = 16 + MAX_WBITS;
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, asGzip, /*memLevel=*/8, Z_DEFAULT_STRATEGY);
    std::string input = text;
    std::string bytes(deflateBound(&stream, input.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    bytes.resize(stream.total_out);
    deflateEnd(&stream);
    return bytes;
}

HttpRequest requestTo(const std::string& url) {
    HttpRequest request;
    request.url = url;
    return request;
}

struct FakeHttpClientTest : ::testing::Test {
    FakeHttpClient http;
    std::shared_ptr<ManualRunLoop> queue = std::make_shared<ManualRunLoop>();
    std::vector<std::string> completions;

    void send(const std::string& url = "https://collector.example/v1", const std::string& body = "") {
        HttpRequest request{.url = url,
                            .method = "POST",
                            .headers = {{"Content-Type", "application/octet-stream"}},
                            .body = std::make_shared<platform::MemoryBodyStream>(body),
                            .handlesCookies = false};
        http.sendAsynchronousRequest(std::move(request), queue,
                                     [this](const HttpResponse& response, const std::optional<std::string>& data,
                                            const std::optional<HttpError>& error) {
                                         completions.push_back(std::to_string(response.status) + " " +
                                                               data.value_or("(absent)") + " " +
                                                               (error ? error->reason : "no error"));
                                     });
    }

    SentRequest sentWith(const std::string& body) {
        send("https://collector.example/v1", body);
        return http.requests.back();
    }
};

TEST_F(FakeHttpClientTest, KeepsWhatWasSent) {
    send("http://collector.example:8080/v1?a=b", std::string(2500, 'x'));
    ASSERT_EQ(http.requests.size(), 1U);
    const auto& sent = http.requests.front();
    EXPECT_EQ(sent.request.url, "http://collector.example:8080/v1?a=b");
    EXPECT_EQ(sent.request.method, "POST");
    EXPECT_FALSE(sent.request.handlesCookies);
    EXPECT_EQ(sent.body, std::string(2500, 'x'));
    EXPECT_EQ(sent.queue, queue);
    EXPECT_EQ(sent.header("content-type"), "application/octet-stream");
    EXPECT_EQ(sent.header("Content-Length"), std::nullopt);
    EXPECT_THAT(completions, IsEmpty());
}

TEST_F(FakeHttpClientTest, KeepsARequestWithoutABody) {
    http.sendAsynchronousRequest(requestTo("http://a.example"), queue, nullptr);
    EXPECT_EQ(http.requests.front().body, "");
}

TEST_F(FakeHttpClientTest, DecodesTheDocument) {
    const auto sent = sentWith(gzipped("%7B%22a%22%3A%5B1%2C%22x%25y%C3%A9%22%2C2.5%5D%2C%22b%22%3Atrue%7D"));
    EXPECT_EQ(sent.json(), "{\"a\":[1,\"x%y\xC3\xA9\",2.5],\"b\":true}");
    EXPECT_EQ(sent.document(), Value(Dictionary{{"a", List{1, "x%y\xC3\xA9", 2.5}}, {"b", true}}));
}

TEST_F(FakeHttpClientTest, DecodesADocumentOfSomeLength) {
    const std::string text(100'000, '7');
    EXPECT_EQ(sentWith(gzipped(text)).json(), text);
}

TEST_F(FakeHttpClientTest, RefusesABodyThatDoesNotDecode) {
    const auto whole = gzipped("%7B%7D");
    EXPECT_THROW(sentWith("").json(), std::runtime_error);
    EXPECT_THROW(sentWith("plain").json(), std::runtime_error);
    EXPECT_THROW(sentWith(whole.substr(0, whole.size() - 1)).json(), std::runtime_error);
    EXPECT_THROW(sentWith(whole + "x").json(), std::runtime_error);
    for (const auto* text : {"%", "%7", "%7b", "%G0", "a%2"})
        EXPECT_THROW(sentWith(gzipped(text)).json(), std::runtime_error) << text;
    EXPECT_ANY_THROW(sentWith(gzipped("no json")).document());
}

TEST_F(FakeHttpClientTest, AnswersTheNewestRequest) {
    send();
    send();
    http.answer("{}");
    EXPECT_THAT(completions, ElementsAre("200 {} no error"));
    EXPECT_EQ(http.requests[1].completion, nullptr);
    EXPECT_NE(http.requests[0].completion, nullptr);
}

TEST_F(FakeHttpClientTest, AnswersTheRequestNamed) {
    send();
    send();
    http.answer(0, "first");
    http.answer(1, "second");
    EXPECT_THAT(completions, ElementsAre("200 first no error", "200 second no error"));
}

TEST_F(FakeHttpClientTest, ReportsThatThereWasNoAnswer) {
    send();
    http.answer(std::nullopt);
    EXPECT_THAT(completions, ElementsAre("0 (absent) no answer"));
}

TEST_F(FakeHttpClientTest, CompletesWithWhatTheTestSays) {
    send();
    http.complete(0, {.status = 503, .headers = {}}, "busy", HttpError{"cut off"});
    EXPECT_THAT(completions, ElementsAre("503 busy cut off"));
}

TEST_F(FakeHttpClientTest, AnswersOnTheRequestsQueue) {
    std::shared_ptr<RunLoop> seen;
    http.sendAsynchronousRequest(requestTo("http://a.example"), queue,
                                 [&](const auto&, const auto&, const auto&) { seen = RunLoop::current(); });
    http.answer("");
    EXPECT_EQ(seen, queue);
    EXPECT_EQ(RunLoop::current(), nullptr);
}

TEST_F(FakeHttpClientTest, LetsACompletionSendAgain) {
    http.sendAsynchronousRequest(requestTo("http://a.example"), queue, [this](const auto&, const auto&, const auto&) {
        for (int request = 0; request < 20; ++request) send();
    });
    http.answer("");
    EXPECT_EQ(http.requests.size(), 21U);
}

TEST_F(FakeHttpClientTest, AnswersARequestOnce) {
    EXPECT_THROW(http.answer("{}"), std::logic_error);
    send();
    http.answer("{}");
    EXPECT_THROW(http.answer("{}"), std::logic_error);
    EXPECT_THROW(http.answer(1, "{}"), std::logic_error);
    EXPECT_EQ(completions.size(), 1U);
}

TEST_F(FakeHttpClientTest, RaisesWhatTheTestSays) {
    http.onStart = [] { throw platform::Exception("no memory"); };
    EXPECT_THROW(send(), platform::Exception);
    EXPECT_THAT(http.requests, IsEmpty());
    http.onStart = nullptr;
    EXPECT_NO_THROW(send());
}

TEST_F(FakeHttpClientTest, RefusesWhatIsNoHttpUrl) {
    for (const auto* url : {"", "collector.example", "ftp://collector.example/", "http://", "https:///v1", "http:/a",
                            "http://collector example/", "http://:80/", "http://?a", "http://a.example/\n"}) {
        EXPECT_THROW(send(url), InvalidArgumentException) << url;
    }
    EXPECT_THAT(http.requests, IsEmpty());
}

TEST(FakeDevice, CountsItsUuids) {
    const FakeDevice device("/documents");
    EXPECT_EQ(device.uuidText(), "00000001-0000-4000-8000-000000000000");
    EXPECT_EQ(device.uuidText(), "00000002-0000-4000-8000-000000000000");
    EXPECT_THAT(device.documentsDirectories(), ElementsAre("/documents", "/documents/not-the-first"));
}

TEST(RecordingLog, KeepsTheTwoKindsOfLineApart) {
    RecordingLog log;
    log.debugLine("A one ");
    log.platformLine("P");
    log.debugLine("B two");
    log.debugLine("A three");
    EXPECT_THAT(log.lines(), ElementsAre("A one ", "B two", "A three"));
    EXPECT_THAT(log.platformLines(), ElementsAre("P"));
    EXPECT_THAT(log.linesStartingWith("A "), ElementsAre("A one ", "A three"));
    log.clear();
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(log.platformLines(), IsEmpty());
}

TEST(TestPlatform, IsThePlatformInForce) {
    const TestPlatform machine;
    const auto& current = platform::Platform::current();
    EXPECT_EQ(current.clock, machine.clock);
    EXPECT_EQ(current.fileSystem, machine.fileSystem);
    EXPECT_EQ(current.httpClient, machine.http);
    EXPECT_EQ(current.mainQueue, machine.mainQueue);
    EXPECT_EQ(current.workers, machine.workers);
    EXPECT_EQ(current.device, machine.device);
    EXPECT_EQ(current.log, machine.log);
    EXPECT_EQ(current.syncPolicy, platform::SyncPolicy::processExit);
    EXPECT_EQ(machine.folder, machine.documents + "/harvelstone/");
    EXPECT_EQ(machine.device->documentsDirectories().front(), machine.documents);
}

TEST(TestPlatform, TakesAnotherFileSystemAndSyncPolicy) {
    TestPlatform machine;
    const auto replacement = std::make_shared<platform::PosixFileSystem>();
    machine.setFileSystem(replacement);
    TestPlatform::setSyncPolicy(platform::SyncPolicy::powerLoss);
    EXPECT_EQ(platform::Platform::current().fileSystem, replacement);
    EXPECT_EQ(machine.fileSystem, replacement);
    EXPECT_EQ(platform::Platform::current().syncPolicy, platform::SyncPolicy::powerLoss);
}

TEST(TestPlatform, RemovesItsFolder) {
    std::string documents;
    {
        const TestPlatform machine;
        documents = machine.documents;
        machine.writeFile("a", "b");
        EXPECT_TRUE(std::filesystem::exists(documents));
    }
    EXPECT_FALSE(std::filesystem::exists(documents));
}

TEST(TestPlatform, LeavesAFolderThatItWasGiven) {
    const TemporaryFolder documents;
    { const TestPlatform machine(documents.path()); }
    EXPECT_TRUE(std::filesystem::exists(documents.path()));
}

TEST(TestPlatform, WritesListsAndReadsStoredFiles) {
    const TestPlatform machine;
    EXPECT_THAT(machine.storedFiles(), IsEmpty());
    const std::string bytes("a\0b\r\n", 5);
    machine.writeFile("second", bytes);
    machine.writeFile("first", "long content");
    machine.writeFile("first", "short");
    EXPECT_THAT(machine.storedFiles(), ElementsAre("first", "second"));
    EXPECT_EQ(machine.readFile("second"), bytes);
    EXPECT_EQ(machine.readFile("first"), "short");
    EXPECT_THROW((void)machine.readFile("third"), std::runtime_error);
}

TEST(TestPlatform, SetsTheAgeOfAFile) {
    const TestPlatform machine;
    machine.writeFile("old", "");
    machine.setFileAge("old", 3600.25);
    const auto attributes = machine.fileSystem->attributes(machine.folder + "old");
    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->modificationDate, 1'479'259'200.5 - 3600.25);
    EXPECT_THROW(machine.setFileAge("missing", 1), std::system_error);
}

TEST(TemporaryFolder, IsNewAndGoesWithTheObject) {
    std::string path;
    {
        const TemporaryFolder one;
        const TemporaryFolder other;
        EXPECT_NE(one.path(), other.path());
        EXPECT_TRUE(std::filesystem::is_empty(one.path()));
        std::filesystem::create_directories(one.path() + "/a/b");
        path = one.path();
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace harvelstone::testing
