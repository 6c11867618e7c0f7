// A life: the machine is put together, the host's threads and the network do what the seed says, and it ends as
// planned.

#include "tests/simulation/Life.hpp"

#include <array>
#include <fmt/format.h>
#include <utility>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/StaticValues.hpp"
#include "harvelstone/services/TrackType.hpp"

#include "tests/simulation/HostOperations.hpp"
#include "tests/simulation/StoredState.hpp"
#include "tests/simulation/account.hpp"
#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {

namespace {

using What = Fact::What;

enum RandomPart : std::uint64_t { hostPart = 10, serverPart, faultPart, schedulePart, powerPart };

std::uint64_t seedOf(const LifePlan& plan, RandomPart part) { return Random(plan.seed, plan.life * 100 + part).next(); }

std::string contentOf(platform::HttpRequest& request) {
    std::string bytes;
    std::array<char, 4096> buffer{};
    while (const auto count = request.body->read(buffer)) bytes.append(buffer.data(), count);
    return SentRequest{.request = {}, .body = std::move(bytes), .queue = nullptr, .completion = nullptr}.json();
}

bool isDocument(const platform::HttpRequest& request) {
    for (const auto& header : request.headers)
        if (header.name == "Content-Length") return true;  // no other upload has one
    return false;
}

}  // namespace

Life::Life(const LifePlan& plan, const Legacy& before, bool traces, Bequeath bequeath)
    : plan_(plan),
      bequeath_(std::move(bequeath)),
      random_(seedOf(plan, hostPart)),
      serverRandom_(seedOf(plan, serverPart)),
      faultRandom_(seedOf(plan, faultPart)),
      nextNumber_(before.nextNumber),
      scheduler_(seedOf(plan, schedulePart), plan.pointsInARow),
      clock_(std::make_shared<SimulatedClock>(scheduler_, before.time + plan.pauseBefore)),
      disk_(std::make_shared<MemoryFileSystem>(std::make_shared<DiskClock>(clock_), before.disk)),
      files_(std::make_shared<PreemptibleFileSystem>(disk_)),
      device_(std::make_shared<SimulatedDevice>(documentsFolder, plan.life)),
      log_(std::make_shared<SimulatedLog>()),
      mainQueue_(std::make_shared<SimulatedLoop>(scheduler_, "main queue")),
      workers_(std::make_shared<SimulatedWorkers>(scheduler_)),
      watch_(plan, before, scheduler_, *clock_, *disk_) {
    watch_.traces = traces;
    if (plan.hasDiskFaults) nextFault_ = faultRandom_.between(1, 400);
}

void Life::install() {
    scheduler_.onSwitch = [this](const Scheduler::Task&, const Scheduler::Task& to) {
        watch_.looked();
        watch_.trace("-> " + to.name());
    };
    scheduler_.onDeadlock = [this](const std::string& why) {
        watch_.violation("deadlock: " + why);
        end(LifePlan::End::exited);
    };
    clock_->onReading = [this](double time) { watch_.read(time); };
    log_->onLine = [this](std::string_view line, bool isPlatformLine) { watch_.logged(line, isPlatformLine); };
    disk_->onCall = [this](const DiskCall& call) { return onDiskCall(call); };
    files_->onDate = [this](const std::string& path, double date) { watch_.dated(path, date); };
    files_->onRemove = [this](const std::string& path) { watch_.removing(path); };
    files_->onRemoved = [this](const std::string& path) { watch_.removed(path); };
    files_->onWritten = [this](const std::string& path, std::string_view bytes) { watch_.written(path, bytes); };
    files_->onTruncate = [this](const std::string& path, std::uint64_t size) { watch_.truncating(path, size); };
    files_->onTruncated = [this](const std::string& path, std::uint64_t size) { watch_.truncated(path, size); };
    mainQueue_->onTask = [this](bool begins) { begins ? watch_.begin(Watch::Activity::removal) : watch_.end(); };
    workers_->onTask = [this](bool begins) { begins ? watch_.begin(Watch::Activity::pass) : watch_.end(); };
    setFateObserver([this](const std::string& id, Fate fate) {
        const Scheduler::KeepTurn keep;
        watch_.retired(id, std::string(fateName(fate)));
    });
    platform::Platform::install({.clock = clock_,
                                 .fileSystem = files_,
                                 .httpClient = std::shared_ptr<platform::HttpClient>(std::shared_ptr<void>(), this),
                                 .mainQueue = mainQueue_,
                                 .workers = workers_,
                                 .device = device_,
                                 .log = log_,
                                 .syncPolicy = plan_.policy});
}

void Life::live() {
    install();
    scheduler_.start("start", [this] {
        start();
        for (std::size_t i = 0; i < plan_.hostThreads; ++i) {
            ++hostsAtWork_;
            scheduler_.start(fmt::format("host {}", i + 1), [this] { beHost(); });
        }
    });
    scheduler_.run();
}

void Life::start() {
    const Scheduler::KeepTurn keep;
    watch_.note({.what = What::began, .text = plan_.text()});
    watch_.startsWith(disk_->image());
    watch_.begin(Watch::Activity::other);
    conditionsAtStart(*this, disk_->image());
    watch_.conditions.holdEnd = clock_->peek() + 30;
    AnalyticsOptions options;
    options.targetUri = "http://collector.test/documents";
    options.appKey = "shop";
    options.appVersion = "3.1";
    options.debug = true;
    Analytics::configure(options);
    BSDebugger::setEnabled(true);
    DocumentManager::sharedInstance();
    BSDebugger::setEnabled(true);
    watch_.end();
    watch_.conditions.isReferrerAwaited = !ProfileManager::sharedInstance().isInstallReferrerSet();
}

void Life::beHost() {
    for (std::size_t i = 0; i < plan_.operationsOfEach; ++i) performDrawnOperation(*this);
    const Scheduler::KeepTurn keep;
    if (--hostsAtWork_ > 0) return;
    if (plan_.end == LifePlan::End::settled) settle();
    end(plan_.end == LifePlan::End::settled ? plan_.end : LifePlan::End::exited);
}

/// The last host's thread sends all that waits, under the best conditions, and looks at what is left.
void Life::settle() {
    isServerGood_ = true;
    constexpr int mostRounds = 60;
    constexpr double aWhile = 100;  // more than any latency
    for (int round = 0; round < mostRounds; ++round) {
        sleep(aWhile);
        if (!workers_->areIdle() || !mainQueue_->isIdle()) continue;
        if (watch_.pending().size() == 1 && round > 0) break;
        performSettlingOperations(*this);
    }
    watch_.looked();
    if (watch_.pending().size() != 1)
        watch_.violation(fmt::format("{} documents are left when all should be sent", watch_.pending().size()));
    const auto ledger = Analytics::ledger();
    for (const auto& violation : accountViolations(watch_.allFacts(), disk_->image(), ledger))
        watch_.violation(violation);
}

Legacy Life::legacy(DiskImage disk, const char* how) {
    watch_.note({.what = What::ended, .text = how});
    return {.disk = std::move(disk),
            .time = clock_->peek(),
            .nextNumber = nextNumber_,
            .facts = watch_.facts(),
            .violations = watch_.violations(),
            .switches = scheduler_.switches(),
            .fingerprint = watch_.fingerprint()};
}

void Life::end(LifePlan::End how) {
    const Scheduler::KeepTurn keep;
    disk_->onCall = nullptr;
    watch_.looked();
    if (how != LifePlan::End::powerLost) return bequeath_(legacy(disk_->image(), "process gone"));
    Random random(seedOf(plan_, powerPart));
    const PowerLoss loss{.entries = static_cast<PowerLoss::Entries>(random.below(4)),
                         .data = static_cast<PowerLoss::Data>(random.below(6)),
                         .seed = random.next()};
    bequeath_(legacy(disk_->afterPowerLoss(loss), "power lost"));
}

// ---- The disk ----

std::optional<DiskFault> Life::onDiskCall(const DiskCall& call) {
    ++calls_;
    if (watch_.traces) watch_.trace("disk " + call.text());
    if (call.name == "open") watch_.reading(call.path);
    const bool endsEarly = plan_.endAtCall > 0;
    if (endsEarly && (isTorn_ || calls_ >= plan_.endAtCall)) {
        if (isTorn_ || call.name != "append" || faultRandom_.chance(0.5)) end(plan_.end);
        isTorn_ = true;  // it dies in the middle of the write, with a byte to take back: nobody hears of it before
        return DiskFault{.error = std::make_error_code(std::errc::io_error),
                         .bytesWritten = faultRandom_.between(1, 200)};
    }
    return drawnFault(call);
}

std::optional<DiskFault> Life::drawnFault(const DiskCall& call) {
    if (nextFault_ == 0 || calls_ < nextFault_ || plan_.end == LifePlan::End::settled) return std::nullopt;
    if (faultsLeft_ == 0) faultsLeft_ = faultRandom_.chance(0.5) ? 1 : faultRandom_.between(2, 80);
    if (--faultsLeft_ == 0) nextFault_ = calls_ + faultRandom_.between(50, 600);
    if (call.name == "exists" || call.name == "isDeletable") return std::nullopt;
    static const std::vector<std::errc> errors{std::errc::io_error, std::errc::no_space_on_device,
                                               std::errc::too_many_files_open, std::errc::permission_denied};
    watch_.failed(call);
    return DiskFault{.error = std::make_error_code(faultRandom_.pick(errors)),
                     .bytesWritten = faultRandom_.chance(0.5) ? faultRandom_.below(100) : 0};
}

// ---- The network ----

void Life::sendAsynchronousRequest(platform::HttpRequest request, std::shared_ptr<platform::RunLoop> queue,
                                   platform::HttpCompletion completionHandler) {
    Scheduler::point(/*weight=*/20);
    const Scheduler::KeepTurn keep;
    const auto answer = isServerGood_ ? Answer::good() : Answer::drawn(serverRandom_);
    const bool carriesDocument = isDocument(request);
    auto id = watch_.visiting();
    if (carriesDocument) watch_.uploading(contentOf(request));
    if (answer.raisesAtStart) throw platform::InvalidArgumentException("no URL");
    auto complete = [this, answer, id = std::move(id), carriesDocument, completion = std::move(completionHandler)] {
        {
            const Scheduler::KeepTurn keepHere;
            if (carriesDocument) watch_.beginReply(id, answer);
        }
        const auto error = answer.body ? std::nullopt : std::optional(platform::HttpError{"no answer"});
        completion({.status = answer.status, .headers = {}}, answer.body, error);
        const Scheduler::KeepTurn keepHere;
        if (carriesDocument) watch_.end();
    };
    static_cast<SimulatedLoop&>(*queue).callUntoldAfter(answer.latency, std::move(complete));
}

}  // namespace harvelstone::testing
