// Runs the benchmarks over real files in a temporary folder: of the current folder, so that they lie on a disk and not
// in memory, or of the folder that HARVELSTONE_BENCH_FOLDER names.

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <iostream>
#include <string>

#include "harvelstone/api/Analytics.hpp"

#include "bench/bench_folder.hpp"

namespace harvelstone::bench {

namespace {

std::string makeFolder() {
    const char* parent = std::getenv("HARVELSTONE_BENCH_FOLDER");
    auto name = fmt::format("{}/harvelstone-bench-XXXXXX", parent != nullptr ? parent : ".");
    if (mkdtemp(name.data()) == nullptr) {
        std::cerr << "harvelstone_bench: cannot make " << name << "\n";
        std::exit(1);
    }
    return std::filesystem::absolute(name);
}

}  // namespace

const std::string& benchFolder() {
    static const std::string folder = makeFolder();
    return folder;
}

}  // namespace harvelstone::bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

    harvelstone::AnalyticsOptions options;
    options.documentsFolder = harvelstone::bench::benchFolder();
    options.mainQueue = harvelstone::MainQueueChoice::pumpedByHost;
    options.debug = false;
    harvelstone::Analytics::configure(options);

    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(harvelstone::bench::benchFolder());
    return 0;
}
