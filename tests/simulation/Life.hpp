#pragma once

#include <functional>
#include <memory>

#include "tests/simulation/Answer.hpp"
#include "tests/simulation/Fact.hpp"
#include "tests/simulation/Plan.hpp"
#include "tests/simulation/Scheduler.hpp"
#include "tests/simulation/SimulatedMachine.hpp"
#include "tests/simulation/Watch.hpp"

namespace harvelstone::testing {

/// One life of the app on a simulated machine, in a process of its own.
class Life final : private platform::HttpClient {
  public:
    /// Gets what the life leaves, on whatever thread it ends; must end the process.
    using Bequeath = std::function<void(const Legacy&)>;

    Life(const LifePlan& plan, const Legacy& before, bool traces, Bequeath bequeath);
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;

    void live();

    // ---- For the host's threads ----

    Random& random() { return random_; }
    Watch& watch() { return watch_; }
    SimulatedClock& clock() { return *clock_; }
    SimulatedDevice& device() { return *device_; }
    std::int64_t nextNumber() { return nextNumber_++; }
    void sleep(double seconds) { scheduler_.sleepUntil(scheduler_.time() + seconds); }

  private:
    void install();
    void start();
    void beHost();
    void settle();
    void end(LifePlan::End how);
    Legacy legacy(DiskImage disk, const char* how);
    std::optional<DiskFault> onDiskCall(const DiskCall& call);
    std::optional<DiskFault> drawnFault(const DiskCall& call);
    void sendAsynchronousRequest(platform::HttpRequest request, std::shared_ptr<platform::RunLoop> queue,
                                 platform::HttpCompletion completionHandler) override;

    const LifePlan plan_;
    const Bequeath bequeath_;
    Random random_;
    Random serverRandom_;
    Random faultRandom_;
    std::int64_t nextNumber_;

    Scheduler scheduler_;
    std::shared_ptr<SimulatedClock> clock_;
    std::shared_ptr<MemoryFileSystem> disk_;
    std::shared_ptr<PreemptibleFileSystem> files_;
    std::shared_ptr<SimulatedDevice> device_;
    std::shared_ptr<SimulatedLog> log_;
    std::shared_ptr<SimulatedLoop> mainQueue_;
    std::shared_ptr<SimulatedWorkers> workers_;
    Watch watch_;

    std::size_t hostsAtWork_ = 0;
    std::size_t calls_ = 0;
    std::size_t faultsLeft_ = 0;
    std::size_t nextFault_ = 0;
    bool isTorn_ = false;
    bool isServerGood_ = false;
};

}  // namespace harvelstone::testing
