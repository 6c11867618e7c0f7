// One process a life: what it leaves comes back through a pipe.

#include "tests/simulation/lifetime.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fmt/format.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "tests/simulation/Life.hpp"
#include "tests/simulation/RecordTally.hpp"
#include "tests/simulation/StoredState.hpp"

namespace harvelstone::testing {

namespace {

constexpr int longestLife = 60'000;  // milliseconds; a usual one takes a few

std::error_code lastError() { return {errno, std::generic_category()}; }

void writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) _exit(EXIT_FAILURE);
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

[[noreturn]] void liveAndEnd(const LifePlan& plan, const Legacy& before, bool traces, int descriptor) {
    const auto bequeath = [descriptor](const Legacy& legacy) {
        writeAll(descriptor, packed(legacy));
        _exit(EXIT_SUCCESS);
    };
    Life life(plan, before, traces, bequeath);
    life.live();
    _exit(EXIT_FAILURE);  // the life itself ends the process
}

/// All that comes before the end; nothing when it takes too long.
std::optional<std::string> readAll(int descriptor) {
    std::string bytes;
    std::array<char, 65536> buffer{};
    for (;;) {
        pollfd ready{.fd = descriptor, .events = POLLIN, .revents = 0};
        const auto events = poll(&ready, 1, longestLife);
        if (events == 0) return std::nullopt;
        const auto count = read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return bytes;
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

std::string endText(int status) {
    if (WIFSIGNALED(status)) return fmt::format("was ended by signal {}", WTERMSIG(status));
    return fmt::format("ended with exit code {}", WEXITSTATUS(status));
}

Legacy broken(const Legacy& before, const LifePlan& plan, const std::string& why) {
    auto legacy = before;
    legacy.facts.clear();
    legacy.violations.push_back(fmt::format("life {} {}", plan.life, why));
    return legacy;
}

}  // namespace

Legacy lived(const LifePlan& plan, const Legacy& before, bool traces) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::system_error(lastError(), "pipe");
    std::fflush(nullptr);
    const auto child = fork();
    if (child < 0) throw std::system_error(lastError(), "fork");
    if (child == 0) {
        close(ends[0]);
        liveAndEnd(plan, before, traces, ends[1]);
    }
    close(ends[1]);
    const auto bytes = readAll(ends[0]);
    close(ends[0]);
    if (!bytes) kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!bytes) return broken(before, plan, "did not end");
    if (!WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS) return broken(before, plan, endText(status));
    return unpackedLegacy(*bytes);
}

SeedResult runSeed(std::uint64_t seed, bool traces) {
    constexpr double begin = 1'479'259'200.5;  // 2016-11-16 01:20:00.5 UTC
    constexpr std::int64_t firstNumber = 77'000'001;
    const auto plan = SeedPlan::of(seed);
    SeedResult result{.seed = seed};
    Legacy legacy{.disk = newDevice(), .time = begin, .nextNumber = firstNumber};
    RecordTally tally;
    for (; result.lives < plan.lives && result.violations.empty(); ++result.lives) {
        auto next = lived(plan.life(result.lives), legacy, traces);
        result.switches += next.switches;
        result.fingerprint = result.fingerprint * 31 + next.fingerprint;
        result.violations = next.violations;
        if (result.violations.empty()) result.violations = tally.violationsAfter(next.facts, next.disk);
        legacy.facts.insert(legacy.facts.end(), next.facts.begin(), next.facts.end());
        next.facts = std::move(legacy.facts);
        legacy = std::move(next);
    }
    const auto count = [&](Fact::What what) {
        return static_cast<std::size_t>(std::count_if(legacy.facts.begin(), legacy.facts.end(),
                                                      [&](const auto& fact) { return fact.what == what; }));
    };
    result.documents = count(Fact::What::created);
    result.records = count(Fact::What::recorded);
    result.uploads = count(Fact::What::uploaded);
    return result;
}

}  // namespace harvelstone::testing
