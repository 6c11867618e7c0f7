// `harvelstone replay`: plays a scenario against any server.

#include "tools/replay.hpp"

#include <iostream>
#include <memory>
#include <utility>

#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/SessionManager.hpp"

#include "tools/exit_codes.hpp"
#include "tools/line_file.hpp"
#include "tools/player.hpp"
#include "tools/receipt.hpp"

namespace harvelstone::tools {

namespace {

/// Debug lines reach the books and the log file. Lives as long as the process, like the workers that log.
struct DebugLines {
    UploadLedger ledger;
    std::unique_ptr<LineFile> file;

    void take(std::string_view line) {
        ledger.debugLine(line);
        if (file) file->write(line);
    }
};

void printLine(std::string_view line) { platform::StandardErrorLog().platformLine(line); }

std::shared_ptr<platform::HttpClient> httpClientFor(const ReplayOptions& options) {
    if (!options.authoritiesFile) return nullptr;
    try {
        return std::make_shared<platform::CurlHttpClient>(
            platform::CurlSettings{.limits = {}, .certificateAuthorities = *options.authoritiesFile});
    } catch (const platform::InvalidArgumentException& exception) {
        throw WrongUse("harvelstone replay: " + exception.reason());
    }
}

}  // namespace

int runReplay(const ReplayOptions& options) {
    const auto scenario = parseScenario(readTextFile(options.scenarioFile), options.scenarioFile);
    auto httpClient = httpClientFor(options);
    const auto lines = std::make_shared<DebugLines>();
    if (options.logFile) {
        lines->file = std::make_unique<LineFile>(*options.logFile, LineFile::Mode::replace);
        if (!lines->file->isOpen()) {
            std::cerr << "harvelstone replay: cannot open " << *options.logFile << std::endl;
            return exitFailed;
        }
    }
    const auto machine = AppMachine::install(
        options.documents, std::make_shared<AppLog>([lines](std::string_view line) { lines->take(line); }, printLine),
        std::move(httpClient));
    BSDebugger::setEnabled(/*enabled=*/true);
    SessionManager::sharedInstance().configure({{"targetUri", options.target}});
    BSDebugger::setEnabled(/*enabled=*/true);

    const auto outcome = playScenario(scenario, machine);
    const auto receipt = replayReceipt(outcome, lines->ledger);
    std::cout << (options.asJson ? platform::jsonText(receipt) + "\n" : receiptText(receipt)) << std::flush;
    if (outcome.failure) std::cerr << *outcome.failure << std::endl;
    return outcome.failure ? exitFailed : exitDone;
}

}  // namespace harvelstone::tools
