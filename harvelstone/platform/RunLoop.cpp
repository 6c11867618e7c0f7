#include "harvelstone/platform/RunLoop.hpp"

#include <utility>

namespace harvelstone::platform {
namespace {

thread_local std::shared_ptr<RunLoop> runningHere;

}  // namespace

std::shared_ptr<RunLoop> RunLoop::current() { return runningHere; }

RunLoop::Running::Running(std::shared_ptr<RunLoop> loop) : outer_(std::exchange(runningHere, std::move(loop))) {}

RunLoop::Running::~Running() { runningHere = std::move(outer_); }

}  // namespace harvelstone::platform
