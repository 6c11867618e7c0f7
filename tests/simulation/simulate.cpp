// The program: runs seeds, several at a time, and says what they have shown.

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fmt/format.h>
#include <iostream>
#include <string>
#include <string_view>
#include <sys/personality.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tests/simulation/lifetime.hpp"

namespace harvelstone::testing {

namespace {

struct Options {
    std::uint64_t seeds = 100;
    std::uint64_t from = 1;
    std::size_t jobs = 1;
    bool traces = false;
    bool printsEach = false;
};

struct Totals {
    std::uint64_t seeds = 0, lives = 0, documents = 0, uploads = 0, records = 0, switches = 0, failed = 0;
};

[[noreturn]] void refuse() {
    std::cerr << "usage: simulate [--seeds N] [--from S] [--jobs J] [--trace] [--each]\n";
    std::exit(2);
}

Options parsed(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto number = [&] {
            if (i + 1 == arguments.size()) refuse();
            char* end = nullptr;
            const auto value = std::strtoull(arguments[++i].c_str(), &end, 10);
            if (*end != '\0') refuse();
            return value;
        };
        if (arguments[i] == "--seeds")
            options.seeds = number();
        else if (arguments[i] == "--from")
            options.from = number();
        else if (arguments[i] == "--jobs")
            options.jobs = number();
        else if (arguments[i] == "--trace")
            options.traces = true;
        else if (arguments[i] == "--each")
            options.printsEach = true;
        else
            refuse();
    }
    if (options.jobs == 0) refuse();
    return options;
}

void print(const SeedResult& result) {
    std::string text = fmt::format("seed {} violates what has to hold:\n", result.seed);
    for (const auto& violation : result.violations) text += "    " + violation + "\n";
    text += fmt::format("  again, with all that happens: ./dev simulate --seeds 1 --from {} --trace\n", result.seed);
    std::cout << text << std::flush;
}

/// Every so many-th seed, in this process.
Totals runSeeds(const Options& options, std::size_t job) {
    Totals totals;
    for (auto seed = options.from + job; seed < options.from + options.seeds; seed += options.jobs) {
        const auto result = runSeed(seed, options.traces);
        ++totals.seeds;
        totals.lives += result.lives;
        totals.documents += result.documents;
        totals.uploads += result.uploads;
        totals.records += result.records;
        totals.switches += result.switches;
        if (!result.violations.empty()) {
            ++totals.failed;
            print(result);
        }
        if (options.printsEach)
            std::cout << fmt::format("seed {}: {} lives, {} switches, {:016x}\n", seed, result.lives, result.switches,
                                     result.fingerprint)
                      << std::flush;
    }
    return totals;
}

void add(Totals& sum, const Totals& part) {
    sum.seeds += part.seeds;
    sum.lives += part.lives;
    sum.documents += part.documents;
    sum.uploads += part.uploads;
    sum.records += part.records;
    sum.switches += part.switches;
    sum.failed += part.failed;
}

Totals runJobs(const Options& options) {
    if (options.jobs == 1) return runSeeds(options, 0);
    std::vector<int> results;
    for (std::size_t job = 0; job < options.jobs; ++job) {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0) std::abort();
        if (fork() == 0) {
            const auto totals = runSeeds(options, job);
            const bool isTold = write(ends[1], &totals, sizeof totals) == sizeof totals;
            _exit(isTold ? EXIT_SUCCESS : EXIT_FAILURE);
        }
        close(ends[1]);
        results.push_back(ends[0]);
    }
    Totals sum;
    for (const auto result : results) {
        Totals part;
        if (read(result, &part, sizeof part) != sizeof part) part = {.failed = 1};
        add(sum, part);
        close(result);
        wait(nullptr);
    }
    return sum;
}

/// The addresses of things are to be the same whenever the program runs; it begins again where they are not.
void fixAddresses(char** arguments) {
    const auto now = personality(0xffffffff);
    if (now == -1 || (now & ADDR_NO_RANDOMIZE) != 0) return;
    if (personality(static_cast<unsigned long>(now) | ADDR_NO_RANDOMIZE) == -1) return;
    execv("/proc/self/exe", arguments);
}

}  // namespace

}  // namespace harvelstone::testing

int main(int argc, char** argv) {
    using namespace harvelstone::testing;
    fixAddresses(argv);
    setenv("TZ", "UTC", /*replace=*/1);
    const auto options = parsed({argv + 1, argv + argc});
    const auto begin = std::chrono::steady_clock::now();
    const auto totals = runJobs(options);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    std::cout << fmt::format(
        "{} seeds ({} to {}), {} lives, {} switches of threads, {} documents, {} uploads, {} records; {} failed; "
        "{:.1f} s, {:.1f} seeds/s\n",
        totals.seeds, options.from, options.from + options.seeds - 1, totals.lives, totals.switches, totals.documents,
        totals.uploads, totals.records, totals.failed, time.count(), static_cast<double>(totals.seeds) / time.count());
    return totals.failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
