#pragma once

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>

namespace harvelstone::bench {

using Seconds = std::chrono::duration<double>;

/// What one side of a comparison came to.
struct Outcome {
    Seconds time{0};                        ///< of the work alone, without its preparations
    std::map<std::string, double> figures;  ///< whatever else it measured
};

/// Does the work so many times in a folder that is empty at first. What it throws fails the benchmark.
using Side = std::function<Outcome(const std::string& folder, std::size_t times)>;

/// Registers a benchmark named "row/side" or "row/case/side". Each of its runs is a process of its own over a folder of
/// its own: the library starts once a process, and nothing that one side leaves behind is met by another.
benchmark::internal::Benchmark* addSide(const std::string& name, Side side);
/// For work that takes long enough to be done once a run.
benchmark::internal::Benchmark* addLongSide(const std::string& name, Side side);

/// What the work came to, done in a child process that ends after it: the library starts once a process.
Outcome inChild(const std::function<Outcome()>& work);

/// What this process took of the processor: for work that waits for nothing, so that others on the machine do not
/// count.
struct ProcessorTime {
    static Seconds now();
};

/// Times the work alone; it is prepared anew each time.
template <typename Clock = std::chrono::steady_clock, typename Prepare, typename Work>
Outcome timedEach(std::size_t times, Prepare prepare, Work work) {
    Outcome outcome;
    for (std::size_t i = 0; i < times; ++i) {
        prepare();
        const auto begin = Clock::now();
        work();
        outcome.time += Clock::now() - begin;
    }
    return outcome;
}

template <typename Clock = std::chrono::steady_clock, typename Work>
Outcome timed(std::size_t times, Work work) {
    return timedEach<Clock>(
        1, [] {},
        [&] {
            for (std::size_t i = 0; i < times; ++i) work();
        });
}

}  // namespace harvelstone::bench
