// The machine under a played app. Everything but the clock, the file ages, the network flag and the folder is real.

#include "tools/app_machine.hpp"

#include <utility>

#include "harvelstone/platform/HostRunLoop.hpp"

namespace harvelstone::tools {

namespace {

/// "DIR" from "DIR/": a Documents folder is named without a slash at its end.
std::string withoutLastSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

/// A file that notes when it is written to.
class ShiftedFile final : public platform::File {
  public:
    ShiftedFile(std::unique_ptr<platform::File> file, std::string path, std::shared_ptr<WriteShifts> shifts)
        : file_(std::move(file)), path_(std::move(path)), shifts_(std::move(shifts)) {}

    platform::Result<std::size_t> read(std::span<std::byte> buffer, std::uint64_t offset) override {
        return file_->read(buffer, offset);
    }
    platform::Result<void> append(std::span<const std::byte> bytes) override {
        shifts_->written(path_);
        return file_->append(bytes);
    }
    std::size_t lastAppended() const override { return file_->lastAppended(); }
    platform::Result<void> sync() override { return file_->sync(); }
    platform::Result<void> truncate(std::uint64_t size) override {
        shifts_->written(path_);
        return file_->truncate(size);
    }
    platform::Result<std::uint64_t> size() override { return file_->size(); }
    platform::Result<void> lock(std::chrono::milliseconds longestWait) override { return file_->lock(longestWait); }
    platform::Result<void> unlock() override { return file_->unlock(); }

  private:
    std::unique_ptr<platform::File> file_;
    const std::string path_;
    std::shared_ptr<WriteShifts> shifts_;
};

void handOver(const AppLog::TakeLine& take, std::string_view line) noexcept {
    try {
        take(line);
    } catch (...) {
        // Nothing may come back to where a line is logged.
    }
}

}  // namespace

double ShiftedClock::now() const { return systemClock_.now() + shift_; }

void ShiftedClock::advance(double seconds) { shift_ = shift_ + seconds; }

AppDevice::AppDevice(std::string documents) : documents_(withoutLastSlash(std::move(documents))) {}

void WriteShifts::written(const std::string& path) {
    const std::lock_guard lock(mutex_);
    shifts_[path] = clock_->shift();
}

void WriteShifts::renamed(const std::string& from, const std::string& to) {
    const std::lock_guard lock(mutex_);
    shifts_.erase(to);
    auto node = shifts_.extract(from);
    if (node.empty()) return;
    node.key() = to;
    shifts_.insert(std::move(node));
}

void WriteShifts::removed(const std::string& path) {
    const std::lock_guard lock(mutex_);
    shifts_.erase(path);
}

double WriteShifts::of(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    const auto found = shifts_.find(path);
    return found == shifts_.end() ? 0 : found->second;
}

ShiftedFileSystem::ShiftedFileSystem(std::shared_ptr<const ShiftedClock> clock)
    : shifts_(std::make_shared<WriteShifts>(std::move(clock))) {}

platform::Result<std::unique_ptr<platform::File>> ShiftedFileSystem::open(const std::string& path,
                                                                          platform::OpenMode mode) {
    auto file = files_.open(path, mode);
    if (!file) return file.error();
    if (mode == platform::OpenMode::Create) shifts_->written(path);
    std::unique_ptr<platform::File> noting = std::make_unique<ShiftedFile>(*std::move(file), path, shifts_);
    return noting;
}

platform::Result<void> ShiftedFileSystem::rename(const std::string& from, const std::string& to) {
    auto renamed = files_.rename(from, to);
    if (renamed) shifts_->renamed(from, to);
    return renamed;
}

platform::Result<void> ShiftedFileSystem::remove(const std::string& path) {
    auto removed = files_.remove(path);
    if (removed) shifts_->removed(path);
    return removed;
}

platform::Result<platform::FileAttributes> ShiftedFileSystem::attributes(const std::string& path) {
    auto attributes = files_.attributes(path);
    if (attributes) attributes->modificationDate += shifts_->of(path);
    return attributes;
}

void AppLog::platformLine(std::string_view line) noexcept { handOver(takePlatformLine_, line); }

void AppLog::debugLine(std::string_view line) noexcept { handOver(takeDebugLine_, line); }

AppMachine AppMachine::install(const std::string& documents, std::shared_ptr<platform::Log> log,
                               std::shared_ptr<platform::HttpClient> httpClient) {
    AppMachine machine;
    machine.clock = std::make_shared<ShiftedClock>();
    machine.device = std::make_shared<AppDevice>(documents);

    platform::Platform platform;
    platform.clock = machine.clock;
    platform.device = machine.device;
    platform.fileSystem = std::make_shared<ShiftedFileSystem>(machine.clock);
    platform.log = std::move(log);
    platform.httpClient = std::move(httpClient);
    platform.mainQueue = platform::HostRunLoop::mainQueue();
    platform::Platform::install(std::move(platform));
    return machine;
}

}  // namespace harvelstone::tools
