// The `harvelstone` command: reads the command line and hands over to a subcommand.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>

#include "harvelstone/api/harvelstone.h"

#include "tools/collect.hpp"
#include "tools/demo.hpp"
#include "tools/exit_codes.hpp"
#include "tools/inspect.hpp"
#include "tools/keys.hpp"
#include "tools/replay.hpp"

namespace {

using namespace harvelstone::tools;

using Run = std::function<int()>;

constexpr const char* exitCodes = "Exit codes: 0 done, 1 the job failed, 2 wrong use.";
constexpr int highestPort = 65535;

/// A new subcommand; the one that is called leaves what is to be done in `run`.
CLI::App* addSubcommand(CLI::App& app, const std::string& name, const std::string& what, Run& run, Run job) {
    auto* subcommand = app.add_subcommand(name, what);
    subcommand->footer(exitCodes);
    subcommand->callback([&run, job = std::move(job)] { run = job; });
    return subcommand;
}

void addDemo(CLI::App& app, Run& run) {
    auto options = std::make_shared<DemoOptions>();
    auto* demo =
        addSubcommand(app, "demo", "Play the shop scenario against a collector of its own and check what arrived", run,
                      [options] { return runDemo(*options); });
    demo->add_option("--documents", options->documents,
                     "Documents folder of the app (default: a new temporary folder)");
    demo->add_option("--store", options->store, "Folder for the received documents (default: a new temporary folder)");
}

void addCollect(CLI::App& app, Run& run) {
    auto options = std::make_shared<CollectOptions>();
    auto* collect =
        addSubcommand(app, "collect", "Serve as the collector that documents are uploaded to, until SIGINT or SIGTERM",
                      run, [options] { return runCollect(*options); });
    collect->add_option("--port", options->collector.port, "Port to listen on (default: a free one)")
        ->check(CLI::Range(0, highestPort));
    collect->add_option("--host", options->collector.host, "Address to listen on (default: 127.0.0.1)");
    collect->add_option("--store", options->storeFolder, "Append each document to DIR/documents.jsonl")
        ->type_name("DIR");
    collect->add_option("--replies", options->repliesFile, "Answers in order, JSON Lines; the last one repeats")
        ->type_name("FILE");
    collect->add_option("--max-body", options->collector.limits.body, "Largest body, in bytes (default: 16 MiB)")
        ->check(CLI::PositiveNumber);
    collect
        ->add_option("--max-inflated", options->collector.limits.inflated,
                     "Largest gunzipped body, in bytes (default: 64 MiB)")
        ->check(CLI::PositiveNumber);
}

void addReplay(CLI::App& app, Run& run) {
    auto options = std::make_shared<ReplayOptions>();
    auto* replay = addSubcommand(app, "replay", "Play a scenario as a host app against any server", run,
                                 [options] { return runReplay(*options); });
    replay->add_option("SCENARIO", options->scenarioFile, "JSON Lines, one step a line")->required();
    replay->add_option("--target", options->target, "Address that documents are uploaded to")
        ->type_name("URL")
        ->required();
    replay
        ->add_option("--documents", options->documents,
                     "Documents folder of the app; its storage folder is DIR/harvelstone/")
        ->type_name("DIR")
        ->required();
    replay
        ->add_option("--authorities", options->authoritiesFile,
                     "PEM file of the certificate authorities for https, instead of the system's")
        ->type_name("FILE");
    replay->add_option("--log", options->logFile, "Write every debug line to FILE")->type_name("FILE");
    replay->add_flag("--json", options->asJson, "Print the receipt and the counts as JSON");
}

void addInspect(CLI::App& app, Run& run) {
    auto options = std::make_shared<InspectOptions>();
    auto* inspect = addSubcommand(app, "inspect", "Show what lies in a storage folder, without changing it", run,
                                  [options] { return runInspect(*options); });
    inspect->add_option("DIR", options->folder, "The storage folder, or the Documents folder that holds it")
        ->required();
    auto* json = inspect->add_flag_callback(
        "--json", [options] { options->format = InspectFormat::json; }, "Print as JSON");
    inspect
        ->add_flag_callback(
            "--export", [options] { options->format = InspectFormat::unsentRecords; },
            "Print every record that was not sent, one a line, as JSON")
        ->excludes(json);
    inspect->add_option("--html", options->htmlFile, "Write everything to FILE, as a page that needs nothing besides")
        ->type_name("FILE");
    inspect->add_flag("--verify", options->verifies, "Print what is damaged; exit code 1 if anything is");
}

void addKeys(CLI::App& app, Run& run) {
    auto format = std::make_shared<KeysFormat>(KeysFormat::text);
    auto* keys = addSubcommand(app, "keys", "Print every key accessor with its text", run,
                               [format] { return runKeys(*format); });
    auto* json = keys->add_flag_callback(
        "--json", [format] { *format = KeysFormat::json; }, "Print as JSON");
    keys->add_flag_callback(
            "--markdown", [format] { *format = KeysFormat::markdown; }, "Print as tables of a page")
        ->excludes(json);
}

int runCommand(int argc, char** argv) {
    CLI::App app("The harvelstone command: a local collector, scenario player and inspector for the document manager.",
                 "harvelstone");
    app.footer(exitCodes);
    app.set_version_flag("--version", harvelstone_version());
    app.require_subcommand(1);
    Run run;
    addDemo(app, run);
    addCollect(app, run);
    addReplay(app, run);
    addInspect(app, run);
    addKeys(app, run);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exitDone : exitWrongUse;
    }
    return run();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return runCommand(argc, argv);
    } catch (const WrongUse& error) {
        std::cerr << error.what() << std::endl;
        return exitWrongUse;
    } catch (const std::exception& error) {
        std::cerr << "harvelstone: " << error.what() << std::endl;
        return exitFailed;
    }
}
