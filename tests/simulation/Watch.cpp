// Notes on one simulated life, and what its passes are expected to do. The pending list is looked at in
// WatchPendingList.cpp, what the component calls in WatchCalls.cpp.

#include "tests/simulation/Watch.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <iostream>
#include <span>
#include <utility>

#include "harvelstone/services/queue_scan.hpp"

#include "tests/simulation/StoredState.hpp"
#include "tests/support/independent_json.hpp"

namespace harvelstone::testing {

namespace {

using What = Fact::What;

std::string text(const Fact& fact) {
    static const std::map<What, std::string> names{{What::began, "began"},
                                                   {What::recording, "recording"},
                                                   {What::written, "written"},
                                                   {What::recorded, "recorded"},
                                                   {What::progressing, "progressing"},
                                                   {What::progressed, "progressed"},
                                                   {What::takenBack, "taken back"},
                                                   {What::emptied, "emptied"},
                                                   {What::headed, "headed"},
                                                   {What::created, "created"},
                                                   {What::left, "left"},
                                                   {What::settled, "settled"},
                                                   {What::retired, "retired"},
                                                   {What::visited, "visited"},
                                                   {What::uploaded, "uploaded"},
                                                   {What::answered, "answered"},
                                                   {What::removed, "removed"},
                                                   {What::faulted, "faulted"},
                                                   {What::ended, "ended"}};
    auto line = names.at(fact.what);
    if (fact.number != 0) line += fmt::format(" {}", fact.number);
    if (!fact.id.empty()) line += " " + fact.id;
    if (!fact.text.empty()) line += " " + fact.text;
    return line;
}

}  // namespace

Watch::Watch(const LifePlan& plan, const Legacy& before, Scheduler& scheduler, SimulatedClock& clock,
             MemoryFileSystem& disk)
    : plan_(plan), earlier_(before.facts), scheduler_(scheduler), clock_(clock), disk_(disk) {
    for (const auto& fact : earlier_) {
        if (fact.what == What::left) retired_.insert(fact.id);
        if (fact.what == What::removed) removed_.insert(fact.text);
        if (fact.what == What::visited) ++visits_[fact.id];
        if (fact.what == What::faulted) mayBeDamaged_ = true;
        if (fact.what == What::ended && fact.text == "power lost") mayBeDamaged_ = true;
        if (fact.what != What::uploaded) continue;
        attempts_[fact.id] = std::max(attempts_[fact.id], fact.number);
        contents_.emplace(fact.id, numbersOf(*independentlyParsed(fact.text)->dictionary()));
    }
}

void Watch::note(Fact fact) {
    fact.life = plan_.life;
    fact.task = scheduler_.running().number();
    fact.time = clock_.peek();
    trace(text(fact));
    facts_.push_back(std::move(fact));
}

void Watch::trace(const std::string& line) {
    for (const char character : line)
        fingerprint_ = (fingerprint_ ^ static_cast<unsigned char>(character)) * 1099511628211U;
    if (traces) std::cerr << fmt::format("{:16.6f} {:12} {}\n", clock_.peek(), scheduler_.running().name(), line);
}

void Watch::violation(const std::string& what) {
    auto line = fmt::format("life {}, {:.6f}, {}: {}", plan_.life, clock_.peek(), scheduler_.running().name(), what);
    trace("VIOLATION " + line);
    violations_.push_back(std::move(line));
}

Facts Watch::allFacts() const {
    auto all = earlier_;
    all.insert(all.end(), facts_.begin(), facts_.end());
    return all;
}

// ---- Activities ----

void Watch::begin(Activity activity) {
    looked();
    auto& now = running();
    now = {.activity = activity,
           .switchesBefore = scheduler_.switches(),
           .headsBefore = heads_.size(),
           .momentBegan = ++moment_};
    if (activity == Activity::pass) expect(now);
}

void Watch::beginReply(const std::string& documentId, const Answer& answer) {
    begin(Activity::reply);
    auto& now = running();
    now.repliedTo = documentId;
    now.answer = answer;
    note({.what = What::answered, .number = answer.body ? 1 : 0, .id = documentId, .text = answer.body.value_or("")});
    expect(now);
    if (answer.isTrafficLimitExceeded == true) wasEverLimited_ = true;
}

void Watch::end() {
    looked();
    auto& now = running();
    const bool isWhole = scheduler_.switches() == now.switchesBefore;
    if (isWhole && now.expected && !hasFailures_ && now.actual != *now.expected)
        violation(fmt::format("a pass should have this effect: {}; it has this: {}", now.expected->text(),
                              now.actual.text()));
    isStarting_ = false;
    if (!hasFailures_)
        for (const auto& [id, isCreated] : now.changes)
            note({.what = What::settled, .number = isCreated ? 1 : 0, .id = id});
    now = {};
}

std::vector<WaitingDocument> Watch::waiting() {
    const auto disk = disk_.image();
    std::vector<WaitingDocument> documents;
    for (const auto& id : pendingOn(disk)) {
        auto& document = documents.emplace_back(documentOn(disk, id));
        // What was deleted for its age lives on in the memory of a process that has met it.
        if (const auto kept = keptInMemory_.find(id); kept != keptInMemory_.end() && !document.hasSessionSection)
            document = kept->second;
        if (document.attempts) continue;
        for (const auto& [queue, section] : sectionsByQueue()) {
            const auto content = disk.content(storedPath(queue + id + ".Harvelstone"));
            const bool hasRecords = !readQueueContents(std::as_bytes(std::span(content))).unread.empty();
            document.hasConversionData = document.hasConversionData || hasRecords;
        }
    }
    return documents;
}

/// The answer retires whatever is the head, be it the document that was uploaded or not.
std::string Watch::fateByAnswer(const Running& reply, const std::string& head) {
    if (head != reply.repliedTo) return "other_answered";
    return reply.answer->body ? "sent" : "transport_failed";
}

/// What the activity has to do if nothing comes between.
void Watch::expect(Running& now) {
    if (!plan_.isCalm() || hasFailures_) {
        if (now.answer) apply(*now.answer);
        return;
    }
    conditions.now = clock_.peek();
    if (now.answer) apply(*now.answer);
    if (isAtAnEdge()) return;
    if (now.activity == Activity::pass)
        now.expected = afterPass(waiting(), conditions);
    else if (now.answer->asksForRepeat)
        now.expected = PassOutcome();
    else
        now.expected =
            afterRetirement(fateByAnswer(now, pending_.empty() ? "" : pending_.front()), waiting(), conditions);
    const bool makesPass = now.activity == Activity::pass || (!now.expected->retired.empty() && pending_.size() > 1);
    if (makesPass && conditions.holdEnd <= std::trunc(conditions.now)) conditions.isReferrerAwaited = false;
}

/// So close to a moment at which something begins to hold that a few readings of the clock decide.
bool Watch::isAtAnEdge() const {
    const auto isClose = [&](double edge, double time) { return std::abs(edge - time) < moment; };
    const auto now = conditions.now;
    return isClose(conditions.holdEnd, std::trunc(now)) || isClose(conditions.waitBegun + conditions.waitSeconds, now);
}

void Watch::apply(const Answer& answer) {
    constexpr double longestWait = 24 * 3600;
    if (answer.isSendAllowed) conditions.isStoppedByServer = !*answer.isSendAllowed;
    if (answer.isTrafficLimitExceeded) conditions.isTrafficLimitExceeded = *answer.isTrafficLimitExceeded;
    if (!answer.waitSeconds) return;
    conditions.waitSeconds = std::clamp(*answer.waitSeconds, 0.0, longestWait);
    conditions.waitBegun = conditions.waitSeconds > 0 ? clock_.peek() : 0;
}

void Watch::setOnline(bool isOnline) {
    if (!isOnline && conditions.isOnline) offlineSince_ = ++moment_;
    conditions.isOnline = isOnline;
}

void Watch::setConsent(bool hasConsent) {
    if (!hasConsent && conditions.hasConsent) refusedSince_ = ++moment_;
    conditions.hasConsent = hasConsent;
    if (hasConsent) conditions.isStoppedByServer = false;
}

}  // namespace harvelstone::testing
