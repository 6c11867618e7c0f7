// Runs a side in a child process over a temporary folder: of the current folder, so that it lies on a disk and not in
// memory, or of the one that HARVELSTONE_BENCH_FOLDER names.

#include "bench/Side.hpp"

#include <array>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <stdlib.h>
#include <string_view>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace harvelstone::bench {

namespace {

constexpr std::string_view timeName = "time";

class TemporaryFolder {
  public:
    TemporaryFolder() {
        const char* parent = std::getenv("HARVELSTONE_BENCH_FOLDER");
        auto name = fmt::format("{}/harvelstone-bench-XXXXXX", parent != nullptr ? parent : ".");
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
        path_ = std::filesystem::absolute(name);
    }
    ~TemporaryFolder() {
        std::error_code ignored;  // what is left does no harm
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

std::string textOf(const Outcome& outcome) {
    auto text = fmt::format("{} {}\n", timeName, outcome.time.count());
    for (const auto& [name, value] : outcome.figures) text += fmt::format("{} {}\n", name, value);
    return text;
}

Outcome readOutcome(const std::string& text) {
    Outcome outcome;
    std::istringstream lines(text);
    std::string name;
    for (double value = 0; lines >> name >> value;)
        name == timeName ? void(outcome.time = Seconds(value)) : void(outcome.figures[name] = value);
    return outcome;
}

/// Ends without what an exit would do: the library's threads and the parent's buffers are let alone.
[[noreturn]] void runChild(const std::function<Outcome()>& work, int output) {
    try {
        const auto text = textOf(work());
        const bool isWritten = write(output, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        _exit(isWritten ? EXIT_SUCCESS : EXIT_FAILURE);
    } catch (const std::exception& error) {
        std::cerr << "harvelstone_bench: " << error.what() << std::endl;
        _exit(EXIT_FAILURE);
    }
}

std::string readToEnd(int input) {
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t count = 0; (count = read(input, buffer.data(), buffer.size())) > 0;)
        text.append(buffer.data(), static_cast<std::size_t>(count));
    return text;
}

void run(benchmark::State& state, const Side& side) {
    const auto times = state.max_iterations;
    while (state.KeepRunningBatch(times)) {
        try {
            const TemporaryFolder folder;
            const auto outcome = inChild([&] { return side(folder.path(), static_cast<std::size_t>(times)); });
            state.SetIterationTime(outcome.time.count());
            for (const auto& [name, value] : outcome.figures) state.counters[name] = value;
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
            break;
        }
    }
}

}  // namespace

Outcome inChild(const std::function<Outcome()>& work) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
    std::cout.flush();
    const auto child = fork();
    if (child < 0) throw std::runtime_error("no child process");
    if (child == 0) runChild(work, ends[1]);
    close(ends[1]);
    const auto text = readToEnd(ends[0]);
    close(ends[0]);
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS)
        throw std::runtime_error("the process that measured failed");
    return readOutcome(text);
}

Seconds ProcessorTime::now() {
    timespec time{};
    if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time) != 0) throw std::runtime_error("no clock of the process");
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

benchmark::internal::Benchmark* addSide(const std::string& name, Side side) {
    return benchmark::RegisterBenchmark(name.c_str(),
                                        [side = std::move(side)](benchmark::State& state) { run(state, side); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

benchmark::internal::Benchmark* addLongSide(const std::string& name, Side side) {
    return addSide(name, std::move(side))->Iterations(1);
}

}  // namespace harvelstone::bench
