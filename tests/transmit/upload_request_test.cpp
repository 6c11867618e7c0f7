#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

class UploadRequest : public SendingTest {
  protected:
    const SentRequest& sent() const { return machine.http->requests.back(); }
    std::vector<std::string> headerNames() const {
        std::vector<std::string> names;
        for (const auto& header : sent().request.headers) names.push_back(header.name);
        return names;
    }
    static void setTarget(const Value& uri) { SessionManager::sharedInstance().configure({{"targetUri", uri}}); }
};

TEST_F(UploadRequest, ADocumentGoesOutByPostToTheTargetAsItStands) {
    setTarget("https://collector.test:8443/documents?tenant=a%20b");
    send();

    EXPECT_EQ(sent().request.method, "POST");
    EXPECT_EQ(sent().request.url, "https://collector.test:8443/documents?tenant=a%20b");
}

TEST_F(UploadRequest, ADocumentHasThreeHeadersAndTheLengthIsThatOfTheCompressedBody) {
    send();

    EXPECT_THAT(headerNames(), ElementsAre("Content-Type", "Content-Encoding", "Content-Length"));
    EXPECT_EQ(sent().header("Content-Type"), "application/octet-stream");
    EXPECT_EQ(sent().header("Content-Encoding"), "gzip");
    EXPECT_EQ(sent().header("Content-Length"), std::to_string(sent().body.size()));
    EXPECT_LT(sent().body.size(), sent().json().size());
}

TEST_F(UploadRequest, AnImmediateSendHasNoContentLength) {
    manager().sendClickDataImmediately({{"button", "buy"}});
    EXPECT_THAT(headerNames(), ElementsAre("Content-Type", "Content-Encoding"));

    manager().sendGoalDataImmediately({{"g3", 50}});
    EXPECT_THAT(headerNames(), ElementsAre("Content-Type", "Content-Encoding"));
    EXPECT_EQ(sent().header("Content-Type"), "application/octet-stream");
    EXPECT_EQ(sent().header("Content-Encoding"), "gzip");
}

TEST_F(UploadRequest, CookiesAreNeitherSentNorStored) {
    send();
    EXPECT_FALSE(sent().request.handlesCookies);
    manager().sendClickDataImmediately({{"button", "buy"}});
    EXPECT_FALSE(sent().request.handlesCookies);
}

TEST_F(UploadRequest, TheBodyDecodesToTheDocumentsJson) {
    changeSession(headId(), "note", "50 % für / 한글 😀 {\"a\"}");
    send();

    EXPECT_EQ(sent().json(), head()->jsonString());
    EXPECT_EQ(nlohmann::json::parse(sent().json()).at("session").at("note"), "50 % für / 한글 😀 {\"a\"}");
}

TEST_F(UploadRequest, TheBodyIsAStreamThatCanBeReadAgain) {
    send();
    auto& stream = *sent().request.body;
    std::array<char, 2> magic{};

    EXPECT_EQ(stream.read(magic), 0U);
    stream.rewind();
    EXPECT_EQ(stream.read(magic), 2U);
    EXPECT_EQ(magic, (std::array<char, 2>{'\x1f', '\x8b'}));
}

TEST_F(UploadRequest, EachRequestHasAQueueOfItsOwn) {
    send();
    manager().sendClickDataImmediately({{"button", "buy"}});

    ASSERT_THAT(machine.workers->queues, SizeIs(2));
    EXPECT_EQ(machine.http->requests[0].queue, machine.workers->queues[0]);
    EXPECT_EQ(machine.http->requests[1].queue, machine.workers->queues[1]);
}

TEST_F(UploadRequest, AnAbsentTargetEndsTheSendBeforeItsUrlIsLogged) {
    setTarget(nullptr);
    const auto lines = linesOfAPass();

    EXPECT_THAT(machine.http->requests, IsEmpty());
    EXPECT_THAT(lines,
                ElementsAre(listLine(), idLine(headId()), "DEBUG_HARVELSTONE_JSON[SDK->SERVER] " + head()->jsonString(),
                            "DEBUG_HARVELSTONE_JSON : an Exception occurred."));
}

TEST_F(UploadRequest, ATargetThatIsNoTextIsNone) {
    setTarget(8080);
    EXPECT_EQ(linesOfAPass().back(), "DEBUG_HARVELSTONE_JSON : an Exception occurred.");
    EXPECT_THAT(machine.http->requests, IsEmpty());
}

TEST_F(UploadRequest, ATargetThatIsNoUrlEndsTheSendAfterItWasLogged) {
    setTarget("collector");
    const auto lines = linesOfAPass();

    EXPECT_THAT(machine.http->requests, IsEmpty());
    EXPECT_THAT(
        lines,
        ElementsAre(listLine(), idLine(headId()), "DEBUG_HARVELSTONE_JSON[SDK->SERVER] " + head()->jsonString(),
                    "DEBUG_HARVELSTONE_JSON[SDK REQUEST URL] collector", "DEBUG_HARVELSTONE_JSON : set Content Length.",
                    "DEBUG_HARVELSTONE_JSON : an Exception occurred."));
}

TEST_F(UploadRequest, AFailedStartLeavesTheDocumentAtTheHeadAndNothingUnderWay) {
    const auto id = headId();
    setTarget("collector");
    send();

    EXPECT_THAT(pendingIds(), ElementsAre(id));
    EXPECT_EQ(attempts(id), Value(1));
    EXPECT_EQ(uploadsUnderWay(), 0U);

    setTarget(target);
    send();
    EXPECT_EQ(attempts(id), Value(2));
    EXPECT_THAT(machine.http->requests, SizeIs(1));
}

TEST_F(UploadRequest, AnErrorOfAnotherKindAtTheStartPassesOn) {
    machine.http->onStart = [] { throw std::runtime_error("no socket"); };

    EXPECT_THROW(send(), std::runtime_error);
    EXPECT_THROW(manager().sendClickDataImmediately({{"button", "buy"}}), std::runtime_error);
    EXPECT_EQ(uploadsUnderWay(), 0U);
}

TEST_F(UploadRequest, AnUploadIsUnderWayUntilItsReplyWasHandled) {
    manager().sendClickDataImmediately({{"button", "buy"}});
    EXPECT_EQ(uploadsUnderWay(), 1U);
    answer("{}");
    EXPECT_EQ(uploadsUnderWay(), 0U);
}

TEST_F(UploadRequest, WithTheDebugLogOffNothingIsLogged) {
    BSDebugger::setEnabled(false);
    EXPECT_THAT(linesOfAPass(), IsEmpty());
    EXPECT_THAT(machine.http->requests, SizeIs(1));
}

}  // namespace
}  // namespace harvelstone::testing
