// The clock, device, log, loops and files of the simulated machine. Whatever the component calls here is a point where
// another thread may take over; what follows it happens in one piece.

#include "tests/simulation/SimulatedMachine.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace harvelstone::testing {

using platform::File;
using platform::Result;

namespace {

constexpr std::uint64_t callWeight = 20;

/// A call to the machine: the turn may go over before it, not in it.
template <typename Body>
auto call(Body body) {
    Scheduler::point(callWeight);
    const Scheduler::KeepTurn keep;
    return body();
}

class PreemptibleFile final : public File {
  public:
    PreemptibleFile(std::unique_ptr<File> file, std::string path, const PreemptibleFileSystem& files)
        : file_(std::move(file)), path_(std::move(path)), files_(files) {}
    ~PreemptibleFile() override {
        const Scheduler::KeepTurn keep;
        file_.reset();
    }
    PreemptibleFile(const PreemptibleFile&) = delete;
    PreemptibleFile& operator=(const PreemptibleFile&) = delete;

    Result<std::size_t> read(std::span<std::byte> buffer, std::uint64_t offset) override {
        return call([&] { return file_->read(buffer, offset); });
    }
    Result<void> append(std::span<const std::byte> bytes) override {
        return call([&] {
            auto written = file_->append(bytes);
            if (written && files_.onWritten)
                files_.onWritten(path_, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
            return written;
        });
    }
    std::size_t lastAppended() const override { return file_->lastAppended(); }
    Result<void> sync() override {
        return call([&] { return file_->sync(); });
    }
    Result<void> truncate(std::uint64_t size) override {
        return call([&] {
            if (files_.onTruncate) files_.onTruncate(path_, size);
            auto cut = file_->truncate(size);
            if (cut && files_.onTruncated) files_.onTruncated(path_, size);
            return cut;
        });
    }
    Result<std::uint64_t> size() override {
        return call([&] { return file_->size(); });
    }
    Result<void> lock(std::chrono::milliseconds longestWait) override {
        return call([&] { return file_->lock(longestWait); });
    }
    Result<void> unlock() override {
        return call([&] { return file_->unlock(); });
    }

  private:
    std::unique_ptr<File> file_;
    const std::string path_;
    const PreemptibleFileSystem& files_;
};

}  // namespace

double SimulatedClock::now() const {
    return call([&] {
        constexpr double timeOfAReading = 2e-6;
        scheduler_.addTime(timeOfAReading);
        const auto reading = peek();
        if (onReading) onReading(reading);
        return reading;
    });
}

std::string SimulatedDevice::uuidText() const {
    return call([&] { return fmt::format("{:08X}-{:04X}-4000-8000-000000000000", ++uuids_, life_); });
}

bool SimulatedDevice::isConnectedToNetwork() const {
    return call([&] { return isOnline; });
}

void SimulatedLog::platformLine(std::string_view line) noexcept {
    call([&] { onLine(line, /*isPlatformLine=*/true); });
}

void SimulatedLog::debugLine(std::string_view line) noexcept {
    call([&] { onLine(line, /*isPlatformLine=*/false); });
}

void SimulatedLoop::callAfter(platform::Seconds delay, platform::Task task) {
    call([&] { add(delay.count(), {.task = std::move(task)}); });
}

void SimulatedLoop::callUntoldAfter(double delay, platform::Task task) {
    const Scheduler::KeepTurn keep;
    add(delay, {.task = std::move(task), .isTold = false});
}

void SimulatedLoop::add(double delay, Entry entry) {
    const auto due = scheduler_.time() + std::max(delay, 0.0);
    tasks_.emplace(due, std::move(entry));
    if (runner_ != nullptr)
        scheduler_.wake(*runner_, due);
    else
        runner_ = &scheduler_.start(name_, [self = shared_from_this()] { self->run(); });
}

void SimulatedLoop::run() {
    Scheduler::beginKeepingTurn();
    const Running running(shared_from_this());
    while (!tasks_.empty()) {
        if (tasks_.begin()->first > scheduler_.time()) {
            scheduler_.sleepUntil(tasks_.begin()->first);
            continue;
        }
        auto due = tasks_.extract(tasks_.begin());
        const bool isTold = onTask && due.mapped().isTold;
        if (isTold) onTask(/*begins=*/true);
        Scheduler::endKeepingTurn();
        due.mapped().task();
        due = {};  // what the task holds may hand in the next one when it goes
        Scheduler::beginKeepingTurn();
        if (isTold) onTask(/*begins=*/false);
    }
    runner_ = nullptr;
    Scheduler::endKeepingTurn();
}

std::shared_ptr<platform::RunLoop> SimulatedWorkers::newOperationQueue() {
    return call([&] {
        auto loop = std::make_shared<SimulatedLoop>(scheduler_, fmt::format("worker {}", loops_.size() + 1));
        loop->onTask = onTask;
        return loops_.emplace_back(std::move(loop));
    });
}

bool SimulatedWorkers::areIdle() const {
    return std::all_of(loops_.begin(), loops_.end(), [](const auto& loop) { return loop->isIdle(); });
}

Result<std::unique_ptr<File>> PreemptibleFileSystem::open(const std::string& path, platform::OpenMode mode) {
    return call([&]() -> Result<std::unique_ptr<File>> {
        auto file = disk_->open(path, mode);
        if (!file) return file.error();
        return std::unique_ptr<File>(std::make_unique<PreemptibleFile>(*std::move(file), path, *this));
    });
}

Result<void> PreemptibleFileSystem::rename(const std::string& from, const std::string& to) {
    return call([&] { return disk_->rename(from, to); });
}

Result<void> PreemptibleFileSystem::remove(const std::string& path) {
    return call([&] {
        if (onRemove) onRemove(path);
        auto removed = disk_->remove(path);
        if (removed && onRemoved) onRemoved(path);
        return removed;
    });
}

Result<std::vector<std::string>> PreemptibleFileSystem::list(const std::string& folder) {
    return call([&] { return disk_->list(folder); });
}

Result<platform::FileAttributes> PreemptibleFileSystem::attributes(const std::string& path) {
    return call([&] {
        auto attributes = disk_->attributes(path);
        if (attributes && onDate) onDate(path, attributes->modificationDate);
        return attributes;
    });
}

bool PreemptibleFileSystem::exists(const std::string& path) {
    return call([&] { return disk_->exists(path); });
}

bool PreemptibleFileSystem::isDeletable(const std::string& path) {
    return call([&] { return disk_->isDeletable(path); });
}

Result<void> PreemptibleFileSystem::makeFolder(const std::string& path) {
    return call([&] { return disk_->makeFolder(path); });
}

Result<void> PreemptibleFileSystem::syncFolder(const std::string& path) {
    return call([&] { return disk_->syncFolder(path); });
}

}  // namespace harvelstone::testing
