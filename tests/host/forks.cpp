// Stories of hosts that fork. Each process names its clicks after itself, so that the test can tell what arrived twice.
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/document/OutstandingWork.hpp"

#include "tests/host/host_app.hpp"

namespace host {
namespace {

using harvelstone::Analytics;

constexpr int childFailed = 7;

/// Runs the piece in a child, which then ends as an app does. False when it did not end well.
bool inChild(const std::function<void()>& piece) {
    const auto child = fork();
    if (child == 0) {
        alarm(60);
        piece();
        std::exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

void clickAndFlush(const std::string& name) {
    click(name);
    if (!flush()) _exit(childFailed);
}

void begin(const Orders& orders) {
    configure(orders);
    Analytics::installReferrer({});
    Analytics::startVisit();
}

bool hasForkedFolder(const Orders& orders) {
    for (const auto& entry : std::filesystem::directory_iterator(orders.documents + "/harvelstone"))
        if (entry.is_directory()) return true;
    return false;
}

bool idle(const Orders& orders) {
    begin(orders);
    clickAndFlush("parent 1");
    const bool isWell = inChild([] { clickAndFlush("child"); });
    clickAndFlush("parent 2");
    return isWell;
}

bool betweenRecordingAndSending(const Orders& orders) {
    begin(orders);
    click("parent 1");
    const bool isWell = inChild([] { clickAndFlush("child"); });
    clickAndFlush("parent 2");
    return isWell;
}

/// The test answers the parent's upload only after the child's has come.
bool duringUpload(const Orders& orders) {
    begin(orders);
    click("parent 1");
    Analytics::send();
    say("uploading");
    waitForTest();
    const bool isWell = inChild([] { clickAndFlush("child"); });
    using harvelstone::OutstandingWork;  // not `flush`, which would send the document that is under way once more
    if (!OutstandingWork::waitUntilNone(OutstandingWork::Kind::upload, std::chrono::seconds(30))) return false;
    clickAndFlush("parent 2");
    return isWell;
}

/// Forks as often as it is told to while another thread records and sends.
bool duringPasses(const Orders& orders) {
    begin(orders);
    std::atomic<bool> goesOn = true;
    std::thread sender([&] {
        for (int round = 0; goesOn; ++round) clickAndFlush("parent " + std::to_string(round));
    });
    bool isWell = true;
    for (int number = 0; number < std::stoi(orders.at(2)); ++number)
        isWell = inChild([number] { clickAndFlush("child " + std::to_string(number)); }) && isWell;
    goesOn = false;
    sender.join();
    return isWell && flush();
}

/// What the disk did not take waits in the parent's memory, and in the child's copy of it.
bool withRecordsInMemory(const Orders& orders) {
    begin(orders);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    click("parent 1");
    setrlimit(RLIMIT_FSIZE, &limit);
    const bool isWell = inChild([] { clickAndFlush("child"); });
    clickAndFlush("parent 2");
    return isWell;
}

bool childEndsBeforeItSends(const Orders& orders) {
    begin(orders);
    click("parent 1");
    const bool isWell = inChild([] {
        click("child");
        _exit(0);
    });
    Analytics::endVisit();
    Analytics::startVisit();
    clickAndFlush("parent 2");
    return isWell && !hasForkedFolder(orders);
}

bool childStillRuns(const Orders& orders) {
    begin(orders);
    int toChild[2];
    int fromChild[2];
    if (pipe(toChild) != 0 || pipe(fromChild) != 0) return false;
    const auto child = fork();
    char byte = 0;
    if (child == 0) {
        alarm(60);
        click("child");
        if (write(fromChild[1], "x", 1) != 1 || read(toChild[0], &byte, 1) != 1) _exit(childFailed);
        clickAndFlush("child again");
        _exit(0);
    }
    if (read(fromChild[0], &byte, 1) != 1) return false;
    Analytics::endVisit();
    Analytics::startVisit();
    clickAndFlush("parent");
    if (!hasForkedFolder(orders) || write(toChild[1], "x", 1) != 1) return false;
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

bool grandchild(const Orders& orders) {
    begin(orders);
    click("parent 1");
    const bool isWell = inChild([] {
        click("child");
        if (!inChild([] { clickAndFlush("grandchild"); })) _exit(childFailed);
        if (!flush()) _exit(childFailed);
    });
    clickAndFlush("parent 2");
    return isWell;
}

bool childOnlyExecs(const Orders& orders) {
    begin(orders);
    click("parent 1");
    bool isWell = inChild([] { execl("/bin/true", "true", nullptr); });
    isWell = inChild([] { _exit(0); }) && isWell;
    isWell = isWell && !hasForkedFolder(orders);
    clickAndFlush("parent 2");
    return isWell;
}

std::atomic<bool> forksInSink = false;
std::atomic<bool> isChild = false;
std::atomic<bool> childWasWell = false;

/// The child comes back from here, into the middle of its parent's pass.
void forkInSink(std::string_view line) {
    if (!line.starts_with("DEBUG_HARVELSTONE_JSON[SDK->SERVER]") || !forksInSink.exchange(false)) return;
    const auto child = fork();
    if (child == 0) {
        alarm(60);
        isChild = true;
        return;
    }
    int status = -1;
    waitpid(child, &status, 0);
    childWasWell = status == 0;
}

bool insideTheSink(const Orders& orders) {
    harvelstone::AnalyticsOptions options;
    options.debugLog = forkInSink;
    configure(orders, std::move(options));
    Analytics::installReferrer({});
    Analytics::startVisit();
    click("parent 1");
    forksInSink = true;
    flush();
    if (isChild) {
        click("child");
        flush();
        std::exit(0);
    }
    clickAndFlush("parent 2");
    return childWasWell;
}

using Story = bool (*)(const Orders&);
const std::map<std::string, Story> stories{
    {"idle", idle},
    {"between recording and sending", betweenRecordingAndSending},
    {"during an upload", duringUpload},
    {"during passes", duringPasses},
    {"with records in memory", withRecordsInMemory},
    {"the child ends before it sends", childEndsBeforeItSends},
    {"the child still runs", childStillRuns},
    {"grandchild", grandchild},
    {"the child only execs", childOnlyExecs},
    {"inside the sink", insideTheSink},
};

}  // namespace

int playFork(const std::string& story, const Orders& orders) { return stories.at(story)(orders) ? 0 : 1; }

}  // namespace host
