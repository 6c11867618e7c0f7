// `harvelstone demo`: an app and its server in one process, over real files and real HTTP. The app runs on the main
// thread, the collector on its own.

#include "tools/demo.hpp"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <iostream>
#include <memory>
#include <mutex>
#include <unistd.h>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/SessionManager.hpp"

#include "tools/arrival_check.hpp"
#include "tools/collector.hpp"
#include "tools/document_store.hpp"
#include "tools/exit_codes.hpp"
#include "tools/line_file.hpp"
#include "tools/player.hpp"
#include "tools/receipt.hpp"
#include "tools/shop_scenario.hpp"

namespace harvelstone::tools {

namespace {

/// Shows the step being played in one line of a terminal; does nothing elsewhere.
class Progress {
  public:
    explicit Progress(std::size_t stepCount) : stepCount_(stepCount), isShown_(::isatty(STDOUT_FILENO) == 1) {}
    ~Progress() {
        if (isShown_) std::cout << clearLine << std::flush;
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(const Step& step, std::size_t index) {
        if (!isShown_) return;
        if (step.name == "startSession") ++visit_;
        std::cout << fmt::format("{}[{}/{}] visit {}: {}", clearLine, index + 1, stepCount_, visit_, step.name)
                  << std::flush;
    }

  private:
    static constexpr std::string_view clearLine = "\r\033[K";

    const std::size_t stepCount_;
    const bool isShown_;
    int visit_ = 0;
};

/// What the collector and the document manager report while the app runs, on their threads.
class DemoBooks {
  public:
    explicit DemoBooks(DocumentStore& store) : store_(store) {}

    CollectorEvents collectorEvents() {
        CollectorEvents events;
        events.received = [this](const DecodedBody& body) {
            const std::lock_guard lock(mutex_);
            record_.received.push_back(body);
            return store_.append(body.json);
        };
        events.refused = [this](const std::string& reason) {
            const std::lock_guard lock(mutex_);
            record_.refused.push_back(reason);
        };
        return events;
    }

    void documentRetired(const std::string& id, Fate fate) {
        const std::lock_guard lock(mutex_);
        record_.fates.insert_or_assign(id, fate);
    }

    DemoRecord finish(const UploadLedger& ledger) {
        const std::lock_guard lock(mutex_);
        record_.created = ledger.createdDocuments();
        addDocumentsOfEarlierRuns();
        record_.uploads = ledger.uploads();
        if (const auto names = documetNameList->load()) {
            for (std::size_t i = 0; i < names->size(); ++i) record_.pending.push_back(names->at(i));
        }
        return record_;
    }

  private:
    /// A Documents folder that was used before may have brought documents along.
    void addDocumentsOfEarlierRuns() {
        auto& created = record_.created;
        for (const auto& [id, fate] : record_.fates) {
            if (std::find(created.begin(), created.end(), id) == created.end()) created.insert(created.begin(), id);
        }
    }

    std::mutex mutex_;
    DocumentStore& store_;
    DemoRecord record_;
};

/// The folders of this run; made in the system's temporary folder where the caller chose none.
struct DemoFolders {
    std::string documents;
    std::string store;
};

/// What the component logs goes to the books and to a file. Lives as long as the process, like the workers that log.
struct DemoLog {
    explicit DemoLog(const std::string& path) : file(path, LineFile::Mode::replace) {}

    UploadLedger ledger;
    LineFile file;
};

std::shared_ptr<AppLog> appLogInto(const std::shared_ptr<DemoLog>& log) {
    return std::make_shared<AppLog>(
        [log](std::string_view line) {
            log->ledger.debugLine(line);
            log->file.write(line);
        },
        [log](std::string_view line) { log->file.write(line); });
}

std::optional<DemoFolders> foldersFor(const DemoOptions& options) {
    std::string base;
    if (!options.documents || !options.store) {
        base = (std::filesystem::temp_directory_path() / "harvelstone-demo-XXXXXX").string();
        if (::mkdtemp(base.data()) == nullptr) return std::nullopt;
    }
    return DemoFolders{options.documents.value_or(base + "/documents"), options.store.value_or(base + "/received")};
}

int fail(std::string_view message) {
    std::cerr << "harvelstone demo: " << message << std::endl;
    return exitFailed;
}

PlayOutcome playShop(const Scenario& scenario, const AppMachine& machine, const std::string& target) {
    BSDebugger::setEnabled(/*enabled=*/true);
    SessionManager::sharedInstance().configure({{"targetUri", target}});
    BSDebugger::setEnabled(/*enabled=*/true);
    Progress progress(scenario.steps.size());
    return playScenario(scenario, machine, [&](const Step& step, std::size_t index) { progress.show(step, index); });
}

int report(const PlayOutcome& outcome, const DemoRecord& record, const UploadLedger& ledger,
           const std::string& storePath) {
    std::cout << arrivalTable(record) << "\n" << receiptText(replayReceipt(outcome, ledger));
    std::cout << "received documents: " << storePath << std::endl;
    auto faults = arrivalFaults(record);
    if (outcome.failure) faults.push_back(*outcome.failure);
    for (const auto& fault : faults) std::cerr << "harvelstone demo: " << fault << "\n";
    if (faults.empty()) std::cout << "Every document arrived as it was sent." << std::endl;
    return faults.empty() ? exitDone : exitFailed;
}

}  // namespace

int runDemo(const DemoOptions& options) {
    const auto scenario = parseScenario(shopScenario(), "examples/shop.jsonl");
    const auto folders = foldersFor(options);
    if (!folders) return fail("cannot make a temporary folder");
    DocumentStore store(folders->store);
    if (!store.isOpen()) return fail("cannot open " + store.path());

    DemoBooks books(store);
    CollectorOptions collectorOptions;
    collectorOptions.replies = parseReplies(shopReplies(), "examples/shop_replies.jsonl");
    Collector collector(std::move(collectorOptions), books.collectorEvents());
    if (!collector.start()) return fail("cannot listen on a loopback port");
    const auto logPath = folders->store + "/debug.log";
    const auto log = std::make_shared<DemoLog>(logPath);
    if (!log->file.isOpen()) return fail("cannot open " + logPath);
    std::cout << fmt::format("collector: {}\nstorage:   {}/harvelstone/\ndebug log: {}\n\n", collector.address(),
                             folders->documents, logPath)
              << std::flush;

    const auto machine = AppMachine::install(folders->documents, appLogInto(log));
    setFateObserver([&books](const std::string& id, Fate fate) { books.documentRetired(id, fate); });
    const auto outcome = playShop(scenario, machine, collector.address());
    setFateObserver({});
    collector.stop();
    return report(outcome, books.finish(log->ledger), log->ledger, store.path());
}

}  // namespace harvelstone::tools
