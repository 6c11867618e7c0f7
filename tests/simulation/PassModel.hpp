#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace harvelstone::testing {

/// What a pass is told about a document that waits.
struct WaitingDocument {
    std::string id;
    bool hasSessionSection = true;
    bool isSessionEmpty = false;
    bool isNewVisit = true;
    double createTime = 0;
    std::optional<std::int64_t> attempts;  ///< absent: its queues have not been moved into it yet
    bool hasConversionData = false;        ///< in it, or waiting in its queues
};

/// What a pass is told about the world.
struct Conditions {
    double now = 0;
    double holdEnd = 0;
    bool isReferrerAwaited = false;
    bool hasConsent = true;
    bool isStoppedByServer = false;
    double waitBegun = 0;
    double waitSeconds = 0;
    bool isOnline = true;
    bool isTrafficLimitExceeded = false;
    double longestLifeHours = 72;

    bool maySend() const;
};

/// What a run of passes has to do: a model of the pending list, as small as it can be, written for the simulation
/// alone.
struct PassOutcome {
    std::vector<std::pair<std::string, std::string>> retired;    ///< ids and fates, in order
    std::optional<std::pair<std::string, std::int64_t>> upload;  ///< the id and its attempts
    bool makesDocument = false;

    std::string text() const;
    friend bool operator==(const PassOutcome&, const PassOutcome&) = default;
};

/// A run that begins with a pass.
PassOutcome afterPass(std::vector<WaitingDocument> waiting, Conditions conditions);
/// A run that begins with the retirement of the head.
PassOutcome afterRetirement(const std::string& fate, std::vector<WaitingDocument> waiting,
                            const Conditions& conditions);

}  // namespace harvelstone::testing
