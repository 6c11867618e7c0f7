// `harvelstone collect`: the collector alone. Documents are reported on standard output, refused bodies on standard
// error.

#include "tools/collect.hpp"

#include <csignal>
#include <fmt/format.h>
#include <iostream>
#include <memory>
#include <pthread.h>

#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/platform/Clock.hpp"

#include "tools/document_store.hpp"
#include "tools/document_summary.hpp"
#include "tools/exit_codes.hpp"
#include "tools/json_lines.hpp"

namespace harvelstone::tools {

namespace {

/// Takes the signals that end the command away from every thread made from now on, and waits for one of them.
class EndSignals {
  public:
    EndSignals() {
        sigemptyset(&set_);
        sigaddset(&set_, SIGINT);
        sigaddset(&set_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &set_, nullptr);
    }

    void wait() const {
        int signal = 0;
        sigwait(&set_, &signal);
    }

  private:
    sigset_t set_{};
};

std::string timeText() { return platform::dateString(platform::SystemClock().now()); }

void printReceived(const DecodedBody& body) {
    std::cout << fmt::format("{}  gzip {}  encoded {}  json {}  {}\n", timeText(), body.gzipBytes, body.encodedBytes,
                             body.json.size(), sectionSummary(body.document))
              << std::flush;
}

CollectorEvents printingEvents(DocumentStore* store) {
    CollectorEvents events;
    events.received = [store](const DecodedBody& body) {
        if (store != nullptr && !store->append(body.json)) {
            std::cerr << "harvelstone collect: cannot write to " << store->path() << std::endl;
            return false;
        }
        printReceived(body);
        return true;
    };
    events.refused = [](const std::string& reason) {
        std::cerr << fmt::format("{}  refused: {}\n", timeText(), reason) << std::flush;
    };
    return events;
}

}  // namespace

int runCollect(CollectOptions options) {
    if (options.repliesFile) {
        options.collector.replies = parseReplies(readTextFile(*options.repliesFile), *options.repliesFile);
    }
    std::unique_ptr<DocumentStore> store;
    if (options.storeFolder) {
        store = std::make_unique<DocumentStore>(*options.storeFolder);
        if (!store->isOpen()) {
            std::cerr << "harvelstone collect: cannot open " << store->path() << std::endl;
            return exitFailed;
        }
    }
    const EndSignals endSignals;
    const auto place = fmt::format("{} port {}", options.collector.host, options.collector.port);
    Collector collector(std::move(options.collector), printingEvents(store.get()));
    if (!collector.start()) {
        std::cerr << "harvelstone collect: cannot listen on " << place << std::endl;
        return exitFailed;
    }
    std::cout << "listening on " << collector.address() << std::endl;
    endSignals.wait();
    collector.stop();
    return exitDone;
}

}  // namespace harvelstone::tools
