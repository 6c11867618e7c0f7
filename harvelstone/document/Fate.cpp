// Counts what became of the documents that left the pending list, and tells the observer. In memory only. Any thread.

#include "harvelstone/document/Fate.hpp"

#include <algorithm>
#include <atomic>
#include <numeric>
#include <utility>

#include "harvelstone/platform/PerProcess.hpp"
#include "harvelstone/platform/Snapshot.hpp"

namespace harvelstone {

namespace {

constinit platform::PerProcess<std::array<std::atomic<std::uint64_t>, fateCount>> counters;
constinit platform::PerProcess<platform::Snapshot<FateObserver>> currentObserver;

}  // namespace

std::string_view fateName(Fate fate) {
    switch (fate) {
        case Fate::sent:
            return "sent";
        case Fate::transportFailed:
            return "transport_failed";
        case Fate::expired:
            return "expired";
        case Fate::retriesExhausted:
            return "retries_exhausted";
        case Fate::noConversionData:
            return "no_conversion_data";
        case Fate::trafficLimit:
            return "traffic_limit";
        case Fate::sessionMissing:
            return "session_missing";
        case Fate::otherAnswered:
            return "other_answered";
    }
    return "unknown";
}

std::uint64_t FateCounts::retired() const { return std::accumulate(byFate.begin(), byFate.end(), std::uint64_t{0}); }

std::map<std::string, std::uint64_t> FateCounts::dropped() const {
    std::map<std::string, std::uint64_t> byName;
    for (std::size_t i = 0; i < fateCount; ++i) {
        const auto fate = static_cast<Fate>(i);
        if (fate != Fate::sent && byFate[i] != 0) byName.emplace(fateName(fate), byFate[i]);
    }
    return byName;
}

FateCounts FateCounts::operator-(const FateCounts& earlier) const {
    FateCounts difference;
    std::transform(byFate.begin(), byFate.end(), earlier.byFate.begin(), difference.byFate.begin(), std::minus<>());
    return difference;
}

FateCounts fateCounts() {
    FateCounts counts;
    for (std::size_t i = 0; i < fateCount; ++i) counts.byFate[i] = (*counters)[i].load();
    return counts;
}

void recordFate(const std::string& documentId, Fate fate) {
    ++(*counters)[static_cast<std::size_t>(fate)];
    const auto observer = currentObserver->load();
    if (!observer || !*observer) return;
    try {
        (*observer)(documentId, fate);
    } catch (...) {
        // The observer is the host's: whatever goes wrong in it must not keep the next document from being sent.
    }
}

void setFateObserver(FateObserver observer) { currentObserver->store(std::move(observer)); }

}  // namespace harvelstone
