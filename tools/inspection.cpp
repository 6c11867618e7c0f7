// What the collector keeps for its page, within limits. Connections add to it and wait for its changes.

#include "tools/inspection.hpp"

#include <algorithm>
#include <utility>

#include "harvelstone/platform/Json.hpp"

#include "tools/document_store.hpp"

namespace harvelstone::tools {

namespace {

std::size_t bytesOf(const Exchange& exchange) {
    auto bytes = sizeof exchange + exchange.head.path.size() + exchange.json.size() + exchange.refusal.size() +
                 exchange.bodyStart.size();
    for (const auto& [name, value] : exchange.head.headers) bytes += name.size() + value.size();
    if (exchange.given) bytes += exchange.given->reply.body.size();
    return bytes;
}

constexpr std::size_t longestBatch = 50;

Value misbehaviourValue(const Misbehaviour& misbehaviour) {
    if (misbehaviour.times == 0) return nullptr;
    const auto& reply = misbehaviour.reply;
    return Dictionary{{"times", misbehaviour.times},
                      {"status", reply.status},
                      {"body", reply.body},
                      {"delay", reply.delay.count()},
                      {"close", reply.closesWithoutAnswer}};
}

}  // namespace

void Inspection::changed(std::uint64_t& version) {
    version = ++version_;
    changed_.notify_all();
}

std::uint64_t Inspection::add(Exchange exchange) {
    if (exchange.json.size() > limits_.document) exchange.json.clear();
    const std::lock_guard lock(mutex_);
    exchange.number = ++last_;
    const auto bytes = bytesOf(exchange);
    kept_.push_back({std::move(exchange), /*version=*/0, bytes});
    bytes_ += bytes;
    changed(kept_.back().version);
    forgetSurplus();
    return last_;
}

void Inspection::answered(std::uint64_t number, GivenReply given) {
    const std::lock_guard lock(mutex_);
    if (kept_.empty() || number < kept_.front().exchange.number) return;
    auto& kept = kept_[number - kept_.front().exchange.number];
    kept.exchange.given = std::move(given);
    bytes_ -= std::exchange(kept.bytes, bytesOf(kept.exchange));
    bytes_ += kept.bytes;
    changed(kept.version);
    forgetSurplus();
}

void Inspection::forgetSurplus() {
    while (kept_.size() > limits_.exchanges || (bytes_ > limits_.bytes && kept_.size() > 1)) {
        bytes_ -= kept_.front().bytes;
        kept_.pop_front();
    }
}

void Inspection::clear() {
    const std::lock_guard lock(mutex_);
    kept_.clear();
    bytes_ = 0;
    changed(clearedVersion_);
}

void Inspection::misbehave(Misbehaviour misbehaviour) {
    const std::lock_guard lock(mutex_);
    misbehaviour_ = std::move(misbehaviour);
    changed(misbehaviourVersion_);
}

std::optional<Reply> Inspection::takeMisbehaviour() {
    const std::lock_guard lock(mutex_);
    if (misbehaviour_.times == 0) return std::nullopt;
    --misbehaviour_.times;
    changed(misbehaviourVersion_);
    return misbehaviour_.reply;
}

std::vector<InspectionEvent> Inspection::changesAfter(std::uint64_t version, std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience, [&] { return hasEnded_ || version_ > version; });
    return collectChanges(version);
}

std::vector<InspectionEvent> Inspection::collectChanges(std::uint64_t version) const {
    std::vector<Change> changes;
    if (clearedVersion_ > version) changes.push_back({clearedVersion_, "cleared", nullptr});
    if (misbehaviourVersion_ > version) changes.push_back({misbehaviourVersion_, "misbehaviour", nullptr});
    for (const auto& kept : kept_) {
        if (kept.version > version) changes.push_back({kept.version, "exchange", &kept.exchange});
    }
    std::ranges::sort(changes, {}, &Change::version);
    if (changes.size() > longestBatch) changes.resize(longestBatch);

    std::vector<InspectionEvent> events;
    events.reserve(changes.size());
    for (const auto& change : changes) events.push_back({change.version, change.name, changeJson(change)});
    return events;
}

std::string Inspection::changeJson(const Change& change) const {
    const auto first = last_ - kept_.size() + 1;
    if (change.exchange != nullptr) {
        return platform::jsonText(Dictionary{{"first", first}, {"exchange", exchangeValue(*change.exchange)}});
    }
    if (change.name == "cleared") return platform::jsonText(Dictionary{{"first", first}});
    return platform::jsonText(misbehaviourValue(misbehaviour_));
}

void Inspection::end() {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
    changed_.notify_all();
}

bool Inspection::hasEnded() const {
    const std::lock_guard lock(mutex_);
    return hasEnded_;
}

std::string Inspection::stateJson() const {
    const std::lock_guard lock(mutex_);
    return platform::jsonText(
        Dictionary{{"first", last_ - kept_.size() + 1},
                   {"last", last_},
                   {"misbehaviour", misbehaviourValue(misbehaviour_)},
                   {"limits", Dictionary{{"exchanges", limits_.exchanges}, {"bytes", limits_.bytes}}}});
}

std::string Inspection::exchangesJson() const {
    const std::lock_guard lock(mutex_);
    List exchanges;
    for (const auto& kept : kept_) exchanges.push_back(exchangeValue(kept.exchange));
    return platform::jsonText(exchanges);
}

std::string Inspection::documentLines() const {
    const std::lock_guard lock(mutex_);
    std::string lines;
    for (const auto& kept : kept_) {
        if (!kept.exchange.json.empty()) lines += oneLine(kept.exchange.json) + "\n";
    }
    return lines;
}

}  // namespace harvelstone::tools
