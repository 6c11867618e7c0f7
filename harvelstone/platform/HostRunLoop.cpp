#include "harvelstone/platform/HostRunLoop.hpp"

#include <utility>

#include "harvelstone/platform/NeverDestroyed.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"

namespace harvelstone::platform {

std::shared_ptr<HostRunLoop> HostRunLoop::mainQueue() {
    static NeverDestroyed<std::shared_ptr<HostRunLoop>> loop(std::make_shared<HostRunLoop>());
    return *loop;
}

std::shared_ptr<RunLoop> HostRunLoop::onOwnThread() { return WorkerThreads().newMainQueue(); }

void HostRunLoop::post(Task task) { tasks_->post(std::move(task)); }

void HostRunLoop::callAfter(Seconds delay, Task task) { tasks_->callAfter(delay, std::move(task)); }

void HostRunLoop::runReady() {
    const Running running(weak_from_this().lock());
    tasks_->runReady();
}

void HostRunLoop::runFor(Seconds time) {
    const Running running(weak_from_this().lock());
    tasks_->runFor(time);
}

void HostRunLoop::runUntilIdle() {
    const Running running(weak_from_this().lock());
    tasks_->runUntilIdle();
}

void HostRunLoop::stop() { tasks_->stop(); }

}  // namespace harvelstone::platform
