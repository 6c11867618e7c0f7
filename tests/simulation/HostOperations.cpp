// The host app: what its threads do to the library and to the machine.

#include "tests/simulation/HostOperations.hpp"

#include <fmt/format.h>
#include <functional>
#include <string>
#include <vector>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/services/BSConfig.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/Tracker.hpp"

#include "tests/simulation/Life.hpp"
#include "tests/simulation/StoredState.hpp"
#include "tests/support/numbered_records.hpp"

namespace harvelstone::testing {

namespace {

using What = Fact::What;
using Activity = Watch::Activity;

/// Calls the library as the activity that it is; an exception is a violation.
void call(Life& life, Activity activity, const char* name, const std::function<void()>& operation) {
    auto& watch = life.watch();
    {
        const Scheduler::KeepTurn keep;
        watch.trace(name);
        watch.begin(activity);
    }
    try {
        operation();
    } catch (const platform::Exception& exception) {
        const Scheduler::KeepTurn keep;
        watch.violation(fmt::format("{} raised: {}", name, exception.reason()));
    }
    const Scheduler::KeepTurn keep;
    watch.end();
}

void record(Life& life) {
    std::string queue;
    std::int64_t number = 0;
    {
        const Scheduler::KeepTurn keep;
        queue = life.random().pick(queuePrefixes());
        number = life.nextNumber();
        life.watch().note({.what = What::recording, .number = number, .text = queue});
    }
    if (queue == StaticValues::GOAL_FILE_PREFIX())
        call(life, Activity::other, "setProduct", [] {
            Analytics::setProduct("P", "Product");
            Analytics::setProductCategory("C", "Category");
        });
    call(life, Activity::other, "record", [&] { addNumberedRecord(queue, number); });
    const Scheduler::KeepTurn keep;
    life.watch().note({.what = What::recorded, .number = number, .text = queue});
}

void progress(Life& life) {
    std::int64_t number = 0;
    const auto note = [&](What what) {
        const Scheduler::KeepTurn keep;
        if (what == What::progressing) number = life.nextNumber();
        life.watch().note({.what = what, .number = number, .text = StaticValues::PAGES_FILE_PREFIX()});
    };
    note(What::progressing);
    call(life, Activity::other, "progress", [&] { Analytics::pageProgress(static_cast<double>(number), 1); });
    note(What::progressed);
}

void send(Life& life) { call(life, Activity::pass, "send", &Analytics::send); }

void setConsent(Life& life, bool granted) {
    static std::size_t underWay = 0;
    static std::size_t begun = 0;
    bool isAlone = underWay++ == 0;
    const auto number = ++begun;
    const auto tell = [&] {
        const Scheduler::KeepTurn keep;
        life.watch().setConsent(granted);
    };
    // A pass in between may see the one or the other: it is refused only from the end of a refusal on, and of two calls
    // that overlap either may be the last.
    if (granted) tell();
    call(life, Activity::other, granted ? "consent" : "no consent", [&] { Analytics::setConsent(granted); });
    --underWay;
    isAlone = isAlone && number == begun;
    if (!granted && isAlone) tell();
}

void setOnline(Life& life, bool online) {
    const Scheduler::KeepTurn keep;
    life.watch().trace(online ? "online" : "offline");
    life.device().isOnline = online;
    life.watch().setOnline(online);
}

void giveReferrer(Life& life) {
    call(life, Activity::other, "install referrer", [] { Analytics::installReferrer({{"utm_source", "news"}}); });
    life.watch().conditions.isReferrerAwaited = false;
}

void jump(Life& life) {
    const Scheduler::KeepTurn keep;
    static const std::vector<double> jumps{-100'000, -8000, -40, -1, 1, 35, 2000, 15'000, 100'000, 280'000};
    const auto seconds = life.random().pick(jumps);
    life.watch().trace(fmt::format("the clock jumps by {}", seconds));
    life.clock().jump(seconds);
}

void pause(Life& life) {
    const Scheduler::KeepTurn keep;
    static const std::vector<double> pauses{0, 0, 0.001, 0.01, 0.1, 0.5, 1, 1, 2, 5, 31, 80};
    static const std::vector<double> longPauses{600, 1900, 4000, 11'000, 16'000, 90'000};
    auto& random = life.random();
    life.sleep(random.chance(0.06) ? random.pick(longPauses) : random.pick(pauses));
}

using Operation = void (*)(Life& life);

struct Choice {
    std::size_t weight;
    Operation perform;
};

constexpr Choice choices[] = {
    {40, &record},
    {6, &progress},
    {16, &send},
    {2,
     [](Life& life) { call(life, Activity::pass, "flush", [] { Analytics::flush(std::chrono::milliseconds(0)); }); }},
    {8, [](Life& life) { call(life, Activity::other, "start of a visit", &Analytics::startVisit); }},
    {5, [](Life& life) { call(life, Activity::other, "end of a visit", &Analytics::endVisit); }},
    {3, [](Life& life) { call(life, Activity::other, "refresh", &Analytics::refreshDocument); }},
    {1, [](Life& life) { call(life, Activity::other, "app opened", &Analytics::appOpened); }},
    {2,
     [](Life& life) {
         call(life, Activity::other, "profile", [] { Analytics::setProfile({{"mbr", "m"}, {"age", 40}}); });
     }},
    {1,
     [](Life& life) {
         call(life, Activity::other, "push data", [] {
             Tracker::sharedInstance().setCustomPushMapData(Dictionary{{"custom", "push"}});
         });
     }},
    {2,
     [](Life& life) {
         call(life, Activity::other, "immediate click", [] { Analytics::sendClickImmediately({{"button", "buy"}}); });
     }},
    {1,
     [](Life& life) {
         call(life, Activity::other, "immediate goal", [] { Analytics::sendGoalImmediately({{"goal", 1}}); });
     }},
    {2, &giveReferrer},
    {1, [](Life& life) { setConsent(life, /*granted=*/false); }},
    {4, [](Life& life) { setConsent(life, /*granted=*/true); }},
    {2, [](Life& life) { setOnline(life, /*online=*/false); }},
    {4, [](Life& life) { setOnline(life, /*online=*/true); }},
    {2, &jump},
};

Operation drawnOperation(Random& random) {
    std::size_t sum = 0;
    for (const auto& choice : choices) sum += choice.weight;
    auto drawn = random.below(sum);
    for (const auto& choice : choices) {
        if (drawn < choice.weight) return choice.perform;
        drawn -= choice.weight;
    }
    return &record;
}

bool flag(const Dictionary& values, const char* key, bool otherwise) {
    const auto value = findValue(values, key);
    return value && value->isBoolean() ? value->integerValue() != 0 : otherwise;
}

}  // namespace

void conditionsAtStart(Life& life, const DiskImage& disk) {
    const auto profile = mapOn(disk, "current_profile_file");
    const auto stored = profile ? findValue(*profile, "permission") : std::optional<Value>();
    const auto permission = stored && stored->dictionary() ? *stored->dictionary() : Dictionary();
    auto& conditions = life.watch().conditions;
    conditions.hasConsent = flag(permission, "consent", /*otherwise=*/true);
    conditions.isStoppedByServer = flag(permission, "stopped_by_server", /*otherwise=*/false);
    conditions.waitBegun = doubleValue(findValue(permission, "wait_begun"));
    conditions.waitSeconds = doubleValue(findValue(permission, "wait_seconds"));
}

void performDrawnOperation(Life& life) {
    Operation perform = nullptr;
    {
        const Scheduler::KeepTurn keep;
        perform = drawnOperation(life.random());
    }
    perform(life);
    pause(life);
}

void performSettlingOperations(Life& life) {
    setOnline(life, /*online=*/true);
    setConsent(life, /*granted=*/true);
    giveReferrer(life);
    const auto& conditions = life.watch().conditions;
    const auto waitEnd = conditions.waitBegun + conditions.waitSeconds;
    if (life.clock().peek() >= conditions.waitBegun && life.clock().peek() < waitEnd)
        life.sleep(waitEnd - life.clock().peek() + 1);
    send(life);
}

}  // namespace harvelstone::testing
