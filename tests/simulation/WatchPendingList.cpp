// Who changes the pending list, and whether each document that leaves it has met the fate that is told.

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "harvelstone/document/DocumentManager.hpp"

#include "tests/simulation/StoredState.hpp"
#include "tests/simulation/Watch.hpp"

namespace harvelstone::testing {

namespace {

using What = Fact::What;

double timeIn(const std::string& documentId) {
    const auto line = documentId.rfind('_');
    return line == std::string::npos ? 0 : std::stod(documentId.substr(line + 1));
}

/// How many of the first elements were taken away, so that the rest begins what is there now.
std::size_t lost(const std::vector<std::string>& before, const std::vector<std::string>& now) {
    for (std::size_t gone = 0; gone < before.size(); ++gone) {
        const auto rest = before.size() - gone;
        const auto first = before.begin() + static_cast<std::ptrdiff_t>(gone);
        if (rest <= now.size() && std::equal(first, before.end(), now.begin())) return gone;
    }
    return before.size();
}

}  // namespace

/// The list that is restored holds what earlier lives have settled, in the order of creation.
void Watch::startsWith(const DiskImage& disk) {
    // A loss of power brings back what had been removed.
    std::erase_if(removed_, [&](const std::string& name) { return disk.files.contains(storedPath(name)); });
    pending_ = pendingOn(disk);
    const std::set<std::string> listed(pending_.begin(), pending_.end());
    std::set<std::string> left;
    std::vector<std::string> inOrder;
    for (const auto& fact : earlier_) {
        if (fact.what == What::left) left.insert(fact.id);
        if (fact.what == What::created && listed.contains(fact.id)) inOrder.push_back(fact.id);
        if (fact.what == What::settled && fact.number == 0 && listed.contains(fact.id))
            violation(fact.id + " is back in the list");
    }
    for (const auto& fact : earlier_)
        if (fact.what == What::settled && fact.number == 1 && !left.contains(fact.id) && !listed.contains(fact.id))
            violation(fact.id + " is gone from the list");
    if (inOrder != pending_) violation("the list is restored in another order, or with other documents");
    if (!pending_.empty()) heads_.push_back(pending_.front());
}

/// A stored list that cannot be read at start-up is missing until it can be, and then stands before what came
/// meanwhile.
void Watch::takeNoteOfOwed(const std::vector<std::string>& now) {
    if (hasFailures_ && isStarting_ && now.empty()) owed_ = std::exchange(pending_, {});
    const bool isBack =
        !owed_.empty() && now.size() >= owed_.size() && std::equal(owed_.begin(), owed_.end(), now.begin());
    if (!isBack) return;
    pending_.insert(pending_.begin(), owed_.begin(), owed_.end());
    owed_.clear();
    heads_.push_back(pending_.front());
}

void Watch::looked() {
    const auto names = documetNameList->load();
    if (names == lookedAt_) return;
    lookedAt_ = names;
    std::vector<std::string> now;
    for (std::size_t i = 0; i < names->size(); ++i) now.push_back(names->at(i));
    takeNoteOfOwed(now);
    const auto gone = lost(pending_, now);
    const auto activity = running().activity;
    const bool mayRetire = activity == Activity::pass || activity == Activity::reply;
    for (std::size_t i = 0; i < gone; ++i) {
        if (!mayRetire) violation("the list lost " + pending_[i] + " outside a pass");
        retired_.insert(pending_[i]);
        leftUnsaid_.insert(pending_[i]);
        running().changes.emplace_back(pending_[i], /*isCreated=*/false);
        note({.what = What::left, .id = pending_[i]});
    }
    for (auto i = pending_.size() - gone; i < now.size(); ++i) {
        running().actual.makesDocument = true;
        running().changes.emplace_back(now[i], /*isCreated=*/true);
        inMemory_.insert(now[i]);
        note({.what = What::created, .id = now[i]});
    }
    pending_ = std::move(now);
    if (!pending_.empty() && (heads_.empty() || heads_.back() != pending_.front())) heads_.push_back(pending_.front());
}

void Watch::retired(const std::string& id, const std::string& fate) {
    looked();
    const auto left = leftUnsaid_.find(id);
    if (left == leftUnsaid_.end())
        violation(id + " is said to be retired, but did not leave the list");
    else
        leftUnsaid_.erase(left);
    note({.what = What::retired, .id = id, .text = fate});
    running().actual.retired.emplace_back(id, fate);
    judgeFate(id, fate);
}

void Watch::judgeFate(const std::string& id, const std::string& fate) {
    const auto& now = running();
    bool isRight = true;
    if (fate == "sent" || fate == "transport_failed" || fate == "other_answered") {
        isRight = now.activity == Activity::reply && !now.answer->asksForRepeat && fateByAnswer(now, id) == fate;
    } else if (fate == "expired") {
        const auto document = documentOn(disk_.image(), id);
        const auto created = document.hasSessionSection ? document.createTime : timeIn(id);
        const auto limit = created + conditions.longestLifeHours * 3600 - moment;
        isRight = std::any_of(now.readings.begin(), now.readings.end(), [&](double time) { return time > limit; });
    } else if (fate == "retries_exhausted") {
        isRight = visits_[id] > 3;
    } else if (fate == "traffic_limit") {
        isRight = wasEverLimited_;
    } else if (fate == "session_missing") {
        isRight = wasRemoved(id + ".Harvelstone");
    }
    if (!isRight) violation(fmt::format("{} was retired as {}, which it is not", id, fate));
}

}  // namespace harvelstone::testing
