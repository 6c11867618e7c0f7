#include "harvelstone/platform/TaskLoop.hpp"

// Asio places a fence beside each mutex; the thread sanitizer follows the mutex, and GCC warns that it skips the fence.
#if defined(__SANITIZE_THREAD__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wtsan"
#endif

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cxxabi.h>
#include <exception>
#include <fmt/format.h>
#include <string_view>
#include <system_error>
#include <utility>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Platform.hpp"

namespace harvelstone::platform {
namespace {

// Some thirty years: far beyond any delay of ours, and still within the clock's range when added to now.
constexpr Seconds longestDelay{1e9};

/// Rounded up, so that a timer is never early.
std::chrono::steady_clock::time_point after(Seconds delay) {
    const auto bounded = delay > Seconds::zero() ? std::min(delay, longestDelay) : Seconds::zero();
    return std::chrono::steady_clock::now() + std::chrono::ceil<std::chrono::steady_clock::duration>(bounded);
}

/// Raises nothing itself: it stands where nobody catches any more.
void logDropped(std::string_view name, std::string_view reason) noexcept {
    constexpr std::string_view line = "harvelstone: a task raised an exception, dropped";
    auto& log = *Platform::current().log;
    try {
        log.platformLine(fmt::format("{}: {}{}{}", line, name, name.empty() ? "" : ": ", reason));
    } catch (const std::exception&) {  // no memory, not even for the reason
        log.platformLine(line);
    }
}

// GCC binds the reference to a forced unwind, which is no object, to null.
__attribute__((no_sanitize("null"))) void runGuarded(const Task& task) {
    try {
        task();
    } catch (const Exception& exception) {
        logDropped(exception.name(), exception.reason());
    } catch (const std::exception& exception) {
        logDropped("", exception.what());
    } catch (const abi::__forced_unwind&) {
        throw;  // no exception: the thread is being ended
    } catch (...) {
        logDropped("", "of an unknown kind");
    }
}

}  // namespace

struct TaskLoop::Context {
    asio::io_context io;
};

TaskLoop::TaskLoop() : context_(std::make_unique<Context>()) {}

TaskLoop::~TaskLoop() = default;

void TaskLoop::post(Task task) {
    asio::post(context_->io, [task = std::move(task)] { runGuarded(task); });
}

void TaskLoop::prepareTimers() {
    try {
        const asio::steady_timer first(context_->io);
    } catch (const std::system_error& error) {
        throw Exception(fmt::format("no timer: {}", error.code().message()));
    }
}

void TaskLoop::callAfter(Seconds delay, Task task) {
    prepareTimers();
    auto timer = std::make_shared<asio::steady_timer>(context_->io, after(delay));
    auto& waiting = *timer;
    waiting.async_wait([timer = std::move(timer), task = std::move(task)](const auto&) { runGuarded(task); });
}

void TaskLoop::runReady() {
    context_->io.restart();
    context_->io.poll();
}

void TaskLoop::runFor(Seconds time) {
    const auto end = after(time);
    context_->io.restart();
    const auto waitsForMore = asio::make_work_guard(context_->io);
    context_->io.run_until(end);
}

void TaskLoop::runUntilIdle() {
    context_->io.restart();
    context_->io.run();
}

void TaskLoop::stop() { context_->io.stop(); }

}  // namespace harvelstone::platform
