// The scripted lives, and how a life is run in a process of its own.

#include "tests/crash/Script.hpp"

#include <algorithm>
#include <cerrno>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/Tracker.hpp"

namespace harvelstone::testing {

namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;

void newVisit(App& app) {
    app.endVisit();
    app.passTime(10);
    app.startVisit();
}

/// Two visits, the first upload, a repeat that the server asks for, the removal of what was sent.
void install(App& app) {
    app.start();
    app.call([] { Analytics::installReferrer({{"utm_source", "newsletter"}}); });
    app.call([] { Analytics::setProfile({{"mbr", "m-1"}, {"age", "30"}}); });
    app.recordOneOfEach();
    app.call(&Analytics::appOpened);
    app.call(&Analytics::refreshDocument);
    newVisit(app);
    app.recordOneOfEach();
    app.send();
    app.reply(R"({"visit_new_server_time":1479259201})");
    app.record(StaticValues::GOAL_FILE_PREFIX());  // into the document that is under way: too late for it
    app.reply(R"({"retry":true})");
    app.repeat();
    app.reply("{}");
    app.runMainQueue();
    app.record(StaticValues::PAGES_FILE_PREFIX());
}

/// Starts with a document that waits; answers are lost.
void loseAnswers(App& app) {
    app.start();
    app.recordOneOfEach();
    newVisit(app);
    app.record(StaticValues::REVENUE_FILE_PREFIX());
    app.send();
    app.reply(std::nullopt);
    app.record(StaticValues::CLICK_FILE_PREFIX());
    app.reply("{}");
    app.runMainQueue();
    app.reply(std::nullopt);
    app.record(StaticValues::PUSH_FILE_PREFIX());
    app.record(StaticValues::PUSH_FILE_PREFIX());
    newVisit(app);
    app.record(StaticValues::PAGES_FILE_PREFIX());
}

/// A document whose repeats are used up, an answer that is none, documents over the traffic limit.
void exhaust(App& app) {
    app.start();
    app.startVisit();
    app.recordOneOfEach();
    app.send();
    for (int attempt = 0; attempt < 3; ++attempt) {
        app.reply(R"({"retry":true})");
        app.passTime(1);
        app.repeat();
    }
    newVisit(app);
    app.record(StaticValues::GOAL_FILE_PREFIX());
    app.reply("[]");
    app.runMainQueue();
    app.reply(R"({"traffic_limit_exceeded":true})");
    Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = false;
    app.record(StaticValues::PAGES_FILE_PREFIX());
}

/// Documents that grow too old, and one of a continued visit with nothing to report.
void growOld(App& app) {
    app.start();
    app.call([] { BSConfig::sharedInstance().setMaxDataLifeTime(0.5); });
    app.recordOneOfEach();
    newVisit(app);
    app.record(StaticValues::REVENUE_FILE_PREFIX());
    app.passTime(45 * minute);
    app.startVisit();
    app.record(StaticValues::CLICK_FILE_PREFIX());
    app.sendAll();
    app.runMainQueue();
    app.call([] { BSConfig::sharedInstance().setMaxDataLifeTime(72); });
    app.recordOneOfEach();
}

void continueInSilence(App& app) {
    app.start();
    app.sendAll();
    app.runMainQueue();
    app.recordOneOfEach();
}

/// Old files are pruned while there is no network: those of documents that wait, too.
void stayOffline(App& app) {
    app.start();
    app.recordOneOfEach();
    app.passTime(5 * hour);
    app.startVisit();
    app.record(StaticValues::PAGES_FILE_PREFIX());
    app.setOnline(false);
    app.send();
    app.setOnline(true);
    app.record(StaticValues::GOAL_FILE_PREFIX());
}

/// Bytes that a child process leaves for its parent.
class SharedNote {
  public:
    SharedNote() : descriptor_(memfd_create("history", MFD_CLOEXEC)) {
        if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
    }
    ~SharedNote() { close(descriptor_); }
    SharedNote(const SharedNote&) = delete;
    SharedNote& operator=(const SharedNote&) = delete;

    void write(std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto count = ::write(descriptor_, bytes.data(), bytes.size());
            if (count < 0) throw std::system_error(errno, std::generic_category(), "write");
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    std::string read() const {
        std::string bytes(static_cast<std::size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
        if (pread(descriptor_, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
            throw std::system_error(errno, std::generic_category(), "pread");
        return bytes;
    }

  private:
    int descriptor_;
};

}  // namespace

const std::vector<ScriptedLife>& scriptedLives() {
    static const std::vector<ScriptedLife> lives{
        {"install", 0, install},       {"lose answers", 20, loseAnswers},       {"exhaust", 2 * hour, exhaust},
        {"grow old", minute, growOld}, {"continue", minute, continueInSilence}, {"stay offline", minute, stayOffline},
        {"find pruned", minute, goOn},
    };
    return lives;
}

void goOn(App& app) {
    app.start();
    app.passTime(minute);  // no install referrer is waited for any more
    app.startVisit();
    app.recordOneOfEach();
    app.sendAll();
    app.runMainQueue();
    app.recordOneOfEach();
}

History lived(const Situation& situation, const std::function<void(App&)>& piece) {
    const SharedNote note;
    life([&] {
        App app(situation);
        piece(app);
        note.write(packed(app.history()));
    });
    const auto bytes = note.read();
    return bytes.empty() ? History() : unpacked(bytes);
}

void goBeyond(Situation& situation, HistoryView history) {
    for (const auto& one : history) {
        situation.time = std::max(situation.time, one.time);
        situation.nextNumber = std::max(situation.nextNumber, one.number + 1);
    }
    situation.firstUuid += static_cast<unsigned>(history.size());
}

DiskImage diskAfter(const DiskImage& begin, HistoryView history) {
    SimulatedDisk disk(begin);
    for (const auto& one : history)
        if (one.what == Happening::What::step) disk.apply(one.step);
    return disk.image();
}

}  // namespace harvelstone::testing
