#include "tests/host/Ending.hpp"

#include <csignal>
#include <optional>
#include <ostream>
#include <stdexcept>

#include "tests/host/HeldAnswer.hpp"
#include "tests/host/TlsOfHost.hpp"
#include "tests/support/LoopbackServer.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

void require(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

/// Nobody answers in mid-upload or shakes hands; the repeat is asked for where the host waits for it.
std::vector<Behaviour> scriptFor(const std::string& moment, HeldAnswer& held) {
    if (moment == "upload" || moment == "flush") return {held.behaviour()};
    if (moment == "handshake") return {[](WireConnection& connection) { connection.waitForHangUp(); }};
    if (moment == "repeat") return {answers("200 OK", R"({"retry":true})")};
    return {answers("200 OK", "{}")};
}

/// Hands are shaken with the plain server, which does not know how.
std::string urlFor(const Ending& ending, const LoopbackServer& server, const std::optional<TlsOfHost>& tls) {
    if (ending.moment == "handshake") return "https://127.0.0.1:" + std::to_string(server.port()) + "/";
    return tls ? tls->url() : server.url();
}

HostEnd unloadOnce(const std::string& moment) {
    const TemporaryFolder documents;
    HeldAnswer held;
    const LoopbackServer server(scriptFor(moment, held));
    HostProcess host(HOST_LOADER, {HOST_STATIC_PLUGIN, "begin", server.url(), documents.path(), "and end"});
    require(host.hasSaid({"ready"}), "the host is not ready");
    if (moment == "upload") require(held.hasArrived(), "the upload does not arrive");
    if (moment == "repeat") require(host.hasSaid(linesWhenRepeatWaits()), "the repeat is not asked for");
    if (moment == "removal") require(host.hasSaid(linesWhenRemovalsWait()), "the documents are not retired");
    host.goOn();
    return host.waitForEnd();
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Ending& ending) {
    return stream << ending.moment << ", " << ending.way << (ending.isOverTls ? ", over TLS" : "");
}

std::vector<Ending> everyEnding() {
    std::vector<Ending> endings{{"sink", "exit"}};
    for (const char* moment : {"upload", "repeat", "removal", "recording"})
        for (const char* way : {"return", "exit", "quick_exit", "_exit", "signal", "handler"})
            endings.push_back({moment, way});
    for (const char* moment : {"handshake", "upload", "repeat", "recording"})
        endings.push_back({moment, "exit", /*isOverTls=*/true});
    for (const char* way : {"return", "signal"}) endings.push_back({"upload", way, /*isOverTls=*/true});
    for (const char* moment : {"flush", "start_up"})
        for (const char* way : {"return", "exit", "quick_exit"}) endings.push_back({moment, way});
    for (const char* moment : {"upload", "repeat", "removal"}) endings.push_back({moment, "dlclose"});
    return endings;
}

std::vector<std::string> linesWhenRepeatWaits() { return {"failCheck == TRUE"}; }

std::vector<std::string> linesWhenRemovalsWait() {
    const std::string answered = "DEBUG_HARVELSTONE_JSON[SERVER->SDK]";
    const std::string listIsEmptyAndRefilled = "DEBUG_HARVELSTONE_CONFIG : documentID --> ";
    return {answered, answered, listIsEmptyAndRefilled};
}

HostEnd endOnce(const Ending& ending) {
    if (ending.way == "dlclose") return unloadOnce(ending.moment);
    const TemporaryFolder documents;
    HeldAnswer held;
    const LoopbackServer server(scriptFor(ending.moment, held));
    std::optional<TlsOfHost> tls;
    if (ending.isOverTls) tls.emplace(documents.path(), server.port());
    HostProcess app(HOST_APP, {urlFor(ending, server, tls), documents.path(), "end", ending.moment, ending.way});
    if (ending.moment == "sink") return app.waitForEnd();  // which ends it on one of our threads
    require(app.nextLine() == "ready", "the app does not come to the moment");
    const bool isUnderWay = ending.moment == "upload" || ending.moment == "flush";
    require(!isUnderWay || held.hasArrived(), "the upload does not arrive");
    require(ending.moment != "handshake" || becomesTrue([&] { return server.connectionCount() > 0; }),
            "the app does not connect");
    app.goOn();
    return app.waitForEnd();
}

HostEnd endOnceWithoutLibrary(const std::string& way) {
    HostProcess app(HOST_BARE, {way});
    require(app.nextLine() == "ready", "the app does not start");
    app.goOn();
    return app.waitForEnd();
}

bool isOrderly(const HostEnd& end, const std::string& way) {
    return way == "signal" ? end.isSignal(SIGTERM) : end.isExit(0);
}

}  // namespace harvelstone::testing
