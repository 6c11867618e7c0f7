// What passes have to do to the pending list.

#include "tests/simulation/PassModel.hpp"

#include <cmath>
#include <fmt/format.h>

namespace harvelstone::testing {

namespace {

constexpr std::int64_t mostUploads = 3;

/// Why the document cannot be sent, if it cannot; counts the attempt.
std::optional<std::string> refusal(WaitingDocument& document, const Conditions& conditions) {
    if (!document.hasSessionSection) return "session_missing";
    if (conditions.now - document.createTime > conditions.longestLifeHours * 3600) return "expired";
    const auto before = document.attempts.value_or(0);
    document.attempts = before + 1;
    if (before >= mostUploads) return "retries_exhausted";
    if (!document.isNewVisit && !document.hasConversionData) return "no_conversion_data";
    if (conditions.isTrafficLimitExceeded) return "traffic_limit";
    return std::nullopt;
}

}  // namespace

bool Conditions::maySend() const {
    if (isReferrerAwaited && holdEnd > std::trunc(now)) return false;
    const bool isWaiting = now >= waitBegun && now < waitBegun + waitSeconds;
    return hasConsent && !isStoppedByServer && !isWaiting && isOnline;
}

PassOutcome afterPass(std::vector<WaitingDocument> waiting, Conditions conditions) {
    if (!conditions.maySend()) return {};
    if (waiting.empty()) return {.retired = {}, .upload = std::nullopt, .makesDocument = true};
    auto& head = waiting.front();
    if (head.hasSessionSection && head.isSessionEmpty) return {};
    if (const auto why = refusal(head, conditions)) {
        conditions.isReferrerAwaited = false;
        return afterRetirement(*why, std::move(waiting), conditions);
    }
    return {.retired = {}, .upload = std::pair(head.id, *head.attempts), .makesDocument = false};
}

PassOutcome afterRetirement(const std::string& fate, std::vector<WaitingDocument> waiting,
                            const Conditions& conditions) {
    if (waiting.empty()) return {.retired = {}, .upload = std::nullopt, .makesDocument = true};
    const auto id = waiting.front().id;
    waiting.erase(waiting.begin());
    auto outcome = waiting.empty() ? PassOutcome{.retired = {}, .upload = std::nullopt, .makesDocument = true}
                                   : afterPass(std::move(waiting), conditions);
    outcome.retired.insert(outcome.retired.begin(), {id, fate});
    return outcome;
}

std::string PassOutcome::text() const {
    std::string text;
    for (const auto& [id, fate] : retired) text += fmt::format("retires {} ({}), ", id, fate);
    if (upload) text += fmt::format("uploads {} for the {}. time", upload->first, upload->second);
    if (makesDocument) text += "makes a document";
    return text.empty() ? "does nothing" : text;
}

}  // namespace harvelstone::testing
