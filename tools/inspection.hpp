#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/exchange.hpp"

namespace harvelstone::tools {

/// How much of what came is kept for the page; the oldest goes first.
struct InspectionLimits {
    std::size_t exchanges = 1000;
    std::size_t bytes = std::size_t{32} << 20U;    ///< of all that is kept
    std::size_t document = std::size_t{8} << 20U;  ///< of one document's text; a longer one is left out
};

/// Replies that were asked for while the collector runs. They stand above the script, which waits meanwhile.
struct Misbehaviour {
    std::uint64_t times = 0;  ///< how many uploads still get it
    Reply reply;
};

/// One thing that changed, as the page is told.
struct InspectionEvent {
    std::uint64_t version = 0;  ///< of the state in which this is so; later changes have higher ones
    std::string_view name;      ///< "exchange", "misbehaviour" or "cleared"
    std::string json;
};

/// What the collector's page shows and steers: the latest exchanges and the misbehaviour. Any thread.
///
/// Whoever watches asks for what has changed since the version that it knows, and gets each exchange that is new or
/// was changed as it is now. So it can begin at 0, or go on where it broke off, by the same question.
class Inspection {
  public:
    explicit Inspection(InspectionLimits limits = {}) : limits_(limits) {}

    /// Keeps the exchange; gives its number.
    std::uint64_t add(Exchange exchange);
    /// What was answered to it, once it was.
    void answered(std::uint64_t number, GivenReply given);
    /// Forgets every exchange; numbers go on.
    void clear();

    void misbehave(Misbehaviour misbehaviour);
    /// The reply of the misbehaviour for one upload more, if there is one.
    std::optional<Reply> takeMisbehaviour();

    /// What has changed since, oldest change first; of much only the beginning. Waits for a change up to that long, or
    /// until the end.
    std::vector<InspectionEvent> changesAfter(std::uint64_t version, std::chrono::milliseconds patience);
    /// Lets nobody wait any more.
    void end();
    bool hasEnded() const;

    /// {"first", "last", "misbehaviour", "limits"}: numbers of the exchanges that are kept, and more.
    std::string stateJson() const;
    /// All exchanges that are kept, a JSON list, oldest first.
    std::string exchangesJson() const;
    /// The text of each document that is kept, one a line, oldest first.
    std::string documentLines() const;

  private:
    struct Kept {
        Exchange exchange;
        std::uint64_t version = 0;
        std::size_t bytes = 0;
    };

    struct Change {
        std::uint64_t version = 0;
        std::string_view name;
        const Exchange* exchange = nullptr;
    };

    void changed(std::uint64_t& version);
    void forgetSurplus();
    std::vector<InspectionEvent> collectChanges(std::uint64_t version) const;
    std::string changeJson(const Change& change) const;

    const InspectionLimits limits_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Kept> kept_;  // by number, without gaps
    std::size_t bytes_ = 0;
    std::uint64_t last_ = 0;     // the latest exchange's number
    std::uint64_t version_ = 0;  // of the whole
    Misbehaviour misbehaviour_;
    std::uint64_t misbehaviourVersion_ = 0;
    std::uint64_t clearedVersion_ = 0;
    bool hasEnded_ = false;
};

}  // namespace harvelstone::tools
