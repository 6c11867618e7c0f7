#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace harvelstone {

/// What became of a document that left the pending list.
enum class Fate {
    sent,              ///< the server answered and asked for no repeat
    transportFailed,   ///< it was sent once, no answer came
    expired,           ///< older than the longest life of data
    retriesExhausted,  ///< the server asked for a repeat too often
    noConversionData,  ///< a continued visit with nothing to report
    trafficLimit,      ///< the service has used up its traffic
    sessionMissing,    ///< its file was gone, pruned by age for instance
    otherAnswered,     ///< at the head when the answer to another document's second upload came
};
inline constexpr std::size_t fateCount = 8;

/// "sent", "transport_failed", ...: the name in receipts and tables.
std::string_view fateName(Fate fate);

/// Documents by fate.
struct FateCounts {
    std::array<std::uint64_t, fateCount> byFate{};

    std::uint64_t operator[](Fate fate) const { return byFate[static_cast<std::size_t>(fate)]; }
    std::uint64_t& operator[](Fate fate) { return byFate[static_cast<std::size_t>(fate)]; }
    /// All of them, the sent ones too.
    std::uint64_t retired() const;
    /// Those that were not sent, by the name of their fate; fates that did not occur are left out.
    std::map<std::string, std::uint64_t> dropped() const;

    /// What was counted since the earlier count.
    FateCounts operator-(const FateCounts& earlier) const;
    friend bool operator==(const FateCounts&, const FateCounts&) = default;
};

/// The counts since the process started.
FateCounts fateCounts();

/// Counts a document that has left the list. Any thread.
void recordFate(const std::string& documentId, Fate fate);

/// Is told of every document that leaves the list, on the thread that retires it.
using FateObserver = std::function<void(const std::string& documentId, Fate fate)>;
void setFateObserver(FateObserver observer);

}  // namespace harvelstone
