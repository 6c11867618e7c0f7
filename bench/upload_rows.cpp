// 1,000 uploads one after another over loopback: the requests alone, with their bodies ready, and the whole job of
// emptying a list of 1,000 documents, each against libcurl by hand.

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "harvelstone/document/OutstandingWork.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/HV_GZIP.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/transmit/percent_encoding.hpp"

#include "bench/CurlPoster.hpp"
#include "bench/SendingApp.hpp"
#include "bench/Side.hpp"
#include "bench/raw_files.hpp"
#include "bench/rows.hpp"
#include "bench/sample_document.hpp"
#include "bench/waiting_documents.hpp"
#include "bench/zlib_alone.hpp"
#include "tests/support/LoopbackServer.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::bench {

namespace {

using platform::Platform;
using platform::SyncPolicy;
using testing::LoopbackServer;

constexpr std::size_t uploads = 1'000;
constexpr std::chrono::minutes longestWait{5};

std::string sampleBody() {
    constexpr std::size_t documentBytes = 3 * 1024;
    return HV_GZIP().gzippedData(percentEncoded(platform::jsonText(sampleDocumentOf(documentBytes))));
}

void requireAll(const LoopbackServer& server) {
    if (server.requests().size() < uploads) throw std::runtime_error("not every upload arrived");
}

/// Requests of the platform's client, each started by the answer to the one before.
class Chain {
  public:
    Chain(std::string url, std::string body) : url_(std::move(url)), body_(std::move(body)) {}

    void run() {
        sendNext();
        if (done_.get_future().wait_for(longestWait) != std::future_status::ready)
            throw std::runtime_error("an upload was not answered");
    }

  private:
    void sendNext() {
        if (sent_++ == uploads) return done_.set_value();
        platform::HttpRequest request;
        request.url = url_;
        request.method = "POST";
        request.headers = {{"Content-Type", "application/octet-stream"},
                           {"Content-Encoding", "gzip"},
                           {"Content-Length", std::to_string(body_.size())}};
        request.body = std::make_shared<platform::MemoryBodyStream>(body_);
        request.handlesCookies = false;
        auto& platform = Platform::current();
        platform.httpClient->sendAsynchronousRequest(std::move(request), platform.workers->newOperationQueue(),
                                                     [this](const auto&, const auto&, const auto&) { sendNext(); });
    }

    const std::string url_;
    const std::string body_;
    std::size_t sent_ = 0;
    std::promise<void> done_;
};

Outcome requestsByLibrary(const std::string& folder, std::size_t) {
    configureApp(folder, SyncPolicy::processExit);
    const LoopbackServer server;
    Chain chain(server.url(), sampleBody());
    const auto outcome = timed(1, [&] { chain.run(); });
    requireAll(server);
    return outcome;
}

Outcome requestsByCurl(Connection connection) {
    const LoopbackServer server;
    const auto body = sampleBody();
    CurlPoster poster(server.url(), connection);
    const auto outcome = timed(uploads, [&] { poster.post(body); });
    requireAll(server);
    return outcome;
}

Outcome jobByLibrary(const std::string& folder, std::size_t) {
    const LoopbackServer server;
    Platform platform;
    const auto mainQueue = std::make_shared<testing::ManualRunLoop>();
    platform.mainQueue = mainQueue;
    SendingApp app(folder, std::move(platform));
    SessionManager::sharedInstance().configure({{"targetUri", server.url()}});
    haveWaitingDocuments(app, uploads);
    const auto outcome = timed(1, [&] {
        app.pass(SyncPolicy::powerLoss);
        OutstandingWork::waitUntilNone(OutstandingWork::Kind::upload, longestWait);
        mainQueue->advance(1);
    });
    requireAll(server);
    return outcome;
}

/// The same steps: the document is read, its attempt stored, its body made and posted, the list stored; then one after
/// another is removed, with a look at every file for each.
Outcome jobByHand(const std::string& folder, std::size_t) {
    const LoopbackServer server;
    SendingApp app(folder);
    const auto text = waitingDocumentText();
    const auto place = folder + "/waiting/";
    std::filesystem::create_directory(place);
    for (std::size_t i = 0; i < uploads; ++i) appendToFile(place + sampleDocumentId(i), text, Durability::unsynced);
    CurlPoster poster(server.url(), Connection::kept);
    ZlibAlone zlib;
    const auto commit = [&](const std::string& name, const Value& value) {
        replaceFile(place + name, platform::jsonText(value));
        syncFolder(place);
    };
    List ids;
    for (std::size_t i = uploads; i > 0; --i) ids.emplace_back(sampleDocumentId(i - 1));
    std::size_t number = 0;
    auto outcome = timed(uploads, [&] {
        auto document = *platform::parseJson(readFile(place + sampleDocumentId(number)))->dictionary();
        document.insert_or_assign(StaticValues::RETRY_COUNT(), 1);
        commit(sampleDocumentId(number), document);
        poster.post(zlib.compress(percentEncoded(platform::jsonText(document))));
        ids.pop_back();
        commit("list", ids);
        ++number;
    });
    outcome.time += timed(uploads, [&] {
                        benchmark::DoNotOptimize(lookAtEveryFile(place));
                        removeFile(place + sampleDocumentId(--number));
                    }).time;
    requireAll(server);
    return outcome;
}

}  // namespace

void addUploadRow() {
    addLongSide("upload/harvelstone", requestsByLibrary);
    addLongSide("upload/limit", [](const auto&, auto) { return requestsByCurl(Connection::kept); });
    addLongSide("upload/new_connections", [](const auto&, auto) { return requestsByCurl(Connection::newEachTime); });
}

void addWholeUploadRow() {
    addLongSide("whole_upload/harvelstone", jobByLibrary);
    addLongSide("whole_upload/limit", jobByHand);
}

}  // namespace harvelstone::bench
