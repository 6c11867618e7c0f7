// The clock, device, log, run loop and workers of the faked machine.

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <utility>

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {

double FakeClock::now() const {
    const std::lock_guard lock(mutex_);
    return std::exchange(now_, now_ + tick_);
}

void FakeClock::set(double secondsSince1970) {
    const std::lock_guard lock(mutex_);
    now_ = secondsSince1970;
}

void FakeClock::advance(double seconds) {
    const std::lock_guard lock(mutex_);
    now_ += seconds;
}

void FakeClock::tickPerReading(double seconds) {
    const std::lock_guard lock(mutex_);
    tick_ = seconds;
}

void ManualRunLoop::post(platform::Task task) { callAfter(platform::Seconds(0), std::move(task)); }

void ManualRunLoop::callAfter(platform::Seconds delay, platform::Task task) {
    const std::lock_guard lock(mutex_);
    tasks_.emplace(time_ + std::max(delay.count(), 0.0), std::move(task));
}

void ManualRunLoop::advance(double seconds) {
    const platform::RunLoop::Running running(shared_from_this());
    std::unique_lock lock(mutex_);
    const auto end = time_ + seconds;
    while (!tasks_.empty() && tasks_.begin()->first <= end) {
        auto due = tasks_.extract(tasks_.begin());
        time_ = due.key();
        lock.unlock();
        due.mapped()();
        due = {};  // what the task holds may hand in the next one when it goes
        lock.lock();
    }
    time_ = end;
}

std::vector<double> ManualRunLoop::pendingDelays() const {
    const std::lock_guard lock(mutex_);
    std::vector<double> delays;
    std::transform(tasks_.begin(), tasks_.end(), std::back_inserter(delays),
                   [this](const auto& task) { return task.first - time_; });
    return delays;
}

std::shared_ptr<platform::RunLoop> ManualWorkers::newOperationQueue() {
    const std::lock_guard lock(mutex_);
    return queues.emplace_back(std::make_shared<ManualRunLoop>());
}

std::string FakeDevice::uuidText() const {
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "%08X-0000-4000-8000-000000000000", ++uuids);
    return text.data();
}

void RecordingLog::platformLine(std::string_view line) noexcept {
    const std::lock_guard lock(mutex_);
    platformLines_.emplace_back(line);
}

void RecordingLog::debugLine(std::string_view line) noexcept {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
}

std::vector<std::string> RecordingLog::lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

std::vector<std::string> RecordingLog::platformLines() const {
    const std::lock_guard lock(mutex_);
    return platformLines_;
}

std::vector<std::string> RecordingLog::linesStartingWith(std::string_view start) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> found;
    std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(found),
                 [start](const std::string& line) { return line.starts_with(start); });
    return found;
}

void RecordingLog::clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
    platformLines_.clear();
}

}  // namespace harvelstone::testing
