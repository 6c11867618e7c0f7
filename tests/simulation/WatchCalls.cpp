// What the component calls on the machine: the clock, the log, the network and the disk.

#include <algorithm>
#include <fmt/format.h>

#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TrackType.hpp"
#include "harvelstone/services/queue_format.hpp"

#include "tests/simulation/StoredState.hpp"
#include "tests/simulation/Watch.hpp"
#include "tests/support/independent_json.hpp"

namespace harvelstone::testing {

namespace {

using What = Fact::What;

const std::set<std::string>& longLivedFiles() {
    static const std::set<std::string> names{"DocumentDB.Harvelstone",          "current_profile_file.Harvelstone",
                                             "current_config_file.Harvelstone", "BS_SESSION_MAP.Harvelstone",
                                             "BS_SESSION.Harvelstone",          "postbackDB.Harvelstone"};
    return names;
}

std::multiset<std::int64_t> ofQueue(const std::map<std::string, std::multiset<std::int64_t>>& content,
                                    const std::string& queue) {
    const auto numbers = content.find(queue);
    return numbers == content.end() ? std::multiset<std::int64_t>() : numbers->second;
}

}  // namespace

void Watch::read(double time) { running().readings.push_back(time); }

void Watch::logged(std::string_view line, bool isPlatformLine) {
    looked();
    if (traces) trace(std::string(isPlatformLine ? "platform line " : "line ") + std::string(line.substr(0, 200)));
    constexpr std::string_view visit = "DocumentManager.sendDocument(documentID) : ";
    constexpr std::string_view store = "DEBUG_HARVELSTONE_STORE";
    if (line.starts_with(visit)) {
        auto& now = running();
        now.visiting = line.substr(visit.size());
        ++visits_[now.visiting];
        note({.what = What::visited, .id = now.visiting});
        const auto from = now.headsBefore > 0 ? now.headsBefore - 1 : 0;
        if (std::find(heads_.begin() + static_cast<std::ptrdiff_t>(from), heads_.end(), now.visiting) == heads_.end())
            violation("a pass looks at " + now.visiting + ", which was not the head of the list");
    }
    if (line.starts_with(store) && !hasFailures_ && !mayBeDamaged_)
        violation("a store complains: " + std::string(line));
    if (isPlatformLine && line.starts_with("harvelstone")) violation("the platform complains: " + std::string(line));
}

void Watch::uploading(const std::string& json) {
    looked();
    auto& now = running();
    const auto value = independentlyParsed(json);
    if (!value || !value->dictionary()) return violation("an upload is no JSON object: " + json);
    const auto& document = *value->dictionary();
    const auto attempts = integerValue(findValue(document, StaticValues::RETRY_COUNT()));
    const auto& id = now.visiting;
    if (id.empty()) return violation("an upload without a pass");
    const auto session = findValue(document, TrackType::TYPE_SESSION().typeValue());
    const auto sid = session && session->dictionary() ? findValue(*session->dictionary(), StaticValues::PARAM_SID())
                                                      : std::optional<Value>();
    // Where operations overlap a visit may end in the middle of a document's creation.
    if (plan_.isCalm() && (!sid || !sid->string() || !id.starts_with(*sid->string() + "_")))
        violation("the upload of " + id + " has the session of another document");
    judgeContent(id, document);
    const bool isOneAtATime = scheduler_.switches() == now.switchesBefore;
    if (isOneAtATime && (attempts <= attempts_[id] || attempts > 3) && !hasFailures_ && !mayBeDamaged_)
        violation(fmt::format("{} is sent with {} attempts, after {}", id, attempts, attempts_[id]));
    attempts_[id] = std::max(attempts_[id], attempts);
    if (!conditions.isOnline && offlineSince_ < now.momentBegan) violation("an upload without a network");
    if (!conditions.hasConsent && refusedSince_ < now.momentBegan) violation("an upload without consent");
    note({.what = What::uploaded, .number = attempts, .id = id, .text = json});
    now.actual.upload = {id, attempts};
}

void Watch::judgeContent(const std::string& id, const Dictionary& document) {
    const auto content = numbersOf(document);
    for (const auto& [queue, numbers] : content)
        for (const auto number : numbers)
            if (numbers.count(number) > 1) violation(fmt::format("record {} is twice in an upload of {}", number, id));
    const auto [known, isFirst] = contents_.emplace(id, content);
    if (isFirst) return;
    for (const auto& entry : sectionsByQueue()) {
        const auto& queue = entry.first;
        if (queue == StaticValues::PUSH_FILE_PREFIX()) continue;  // the host's own push data replaces it
        const auto& before = known->second[queue];
        const auto now = ofQueue(content, queue);
        // Each of two passes that overlap adds what it has taken, and sends what is there then.
        const bool hasMore = std::ranges::includes(now, before);
        const bool hasLess = std::ranges::includes(before, now);
        if (plan_.isCalm() ? !hasMore || !hasLess : !hasMore && !hasLess)
            violation(fmt::format("{} is sent again with other records of {}", id, queue));
        if (hasMore) known->second[queue] = now;
    }
}

// ---- The disk ----

void Watch::dated(const std::string& path, double date) { running().dates[path] = date; }

void Watch::removing(const std::string& path) {
    const auto name = fileNameOf(path);
    if (name.find(".tmp-") != std::string::npos) return;
    if (longLivedFiles().contains(name)) return violation(name + " is deleted");
    const auto disk = disk_.image();
    const auto file = disk.files.find(path);
    if (file == disk.files.end()) return;
    const auto queue = queueNameOf(name);
    if (!queue) keepInMemory(name, disk);
    const auto document = queue ? queue->document : name.substr(0, name.rfind(".Harvelstone"));
    if (running().activity == Activity::removal && retired_.contains(document)) return;
    const auto& readings = running().readings;
    const auto date = running().dates.find(path);  // between the question and the deletion it may be written anew
    constexpr double oldest = 4 * 3600;
    const bool isOld = std::any_of(readings.begin(), readings.end(), [&](double time) {
        return date != running().dates.end() && time - date->second >= oldest - moment;
    });
    if (!isOld) violation(name + " is deleted, which is neither old nor of a retired document");
}

void Watch::keepInMemory(const std::string& fileName, const DiskImage& disk) {
    const auto id = fileName.substr(0, fileName.rfind(".Harvelstone"));
    if (inMemory_.contains(id)) keptInMemory_[id] = documentOn(disk, id);
}

void Watch::reading(const std::string& path) {
    const auto name = fileNameOf(path);
    if (!name.starts_with("0000") || removed_.contains(name)) return;  // no document, or none any more
    inMemory_.insert(name.substr(0, name.rfind(".Harvelstone")));
}

void Watch::removed(const std::string& path) {
    const auto name = fileNameOf(path);
    removed_.insert(name);
    note({.what = What::removed, .text = name});
}

void Watch::written(const std::string& path, std::string_view bytes) {
    const auto name = fileNameOf(path);
    if (!queueNameOf(name)) return;
    if (const auto header = queue_format::readHeader(bytes))
        note({.what = What::headed, .number = header->records, .text = name});
    for (const auto number : numbersIn(bytes)) note({.what = What::written, .number = number, .text = name});
}

void Watch::truncating(const std::string& path, std::uint64_t size) {
    beingCutOff_.clear();
    const auto content = disk_.image().content(path);
    if (size > 0 && size < content.size()) beingCutOff_ = numbersIn(std::string_view(content).substr(size));
}

void Watch::truncated(const std::string& path, std::uint64_t size) {
    const auto name = fileNameOf(path);
    if (!queueNameOf(name)) return;
    if (size == 0) note({.what = What::emptied, .text = name});
    for (const auto number : beingCutOff_) note({.what = What::takenBack, .number = number, .text = name});
}

void Watch::failed(const DiskCall& call) {
    hasFailures_ = true;
    note({.what = What::faulted, .text = call.text()});
}

bool Watch::wasRemoved(const std::string& fileName) const { return removed_.contains(fileName); }

}  // namespace harvelstone::testing
