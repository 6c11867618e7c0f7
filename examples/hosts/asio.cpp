// A host whose main loop is an io_context of Asio: the library's main queue is that loop. usage: asio [TARGET]
#include <asio.hpp>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <utility>

#include "harvelstone/api/Analytics.hpp"

namespace {

using namespace harvelstone::platform;

/// The library keeps it until the process has ended, and so the loop, too.
class AsioMainQueue final : public RunLoop, public std::enable_shared_from_this<AsioMainQueue> {
  public:
    explicit AsioMainQueue(std::shared_ptr<asio::io_context> loop) : loop_(std::move(loop)) {}
    void post(Task task) override {
        asio::post(*loop_, [self = shared_from_this(), task = std::move(task)] {
            const Running running(self);  // what `RunLoop::current()` finds
            task();
        });
    }
    void callAfter(Seconds delay, Task task) override {
        auto timer = std::make_shared<asio::steady_timer>(*loop_, std::chrono::ceil<std::chrono::nanoseconds>(delay));
        timer->async_wait([self = shared_from_this(), timer, task = std::move(task)](auto) { self->post(task); });
    }

  private:
    std::shared_ptr<asio::io_context> loop_;
};

}  // namespace

int main(int argc, char** argv) {
    using harvelstone::Analytics;
    const auto loop = std::make_shared<asio::io_context>();
    asio::signal_set signals(*loop, SIGTERM);
    signals.async_wait([&loop](const asio::error_code&, int) { loop->stop(); });

    harvelstone::AnalyticsOptions options;
    options.targetUri = argc > 1 ? argv[1] : "http://127.0.0.1:8080/documents";
    options.appKey = "shop";
    options.documentsFolder = "shop-data";
    options.platform.mainQueue = std::make_shared<AsioMainQueue>(loop);
    Analytics::configure(options);

    asio::post(*loop, [] {
        Analytics::startVisit();
        Analytics::installReferrer({});
        Analytics::page("home", {{"section", "women"}});
        Analytics::click({{"button", "buy"}});
        Analytics::send();
    });
    loop->run();
    std::cout << Analytics::ledger().documents.sent << " sent\n";
}
