// What the host's own callbacks raise, be it no exception of C++ at all, ends neither a worker nor the app.
#include <atomic>
#include <future>
#include <gmock/gmock.h>
#include <unwind.h>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/platform/Platform.hpp"

#include "tests/host/HostTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;

/// An exception as the run-time library of another language raises it.
[[noreturn]] void raiseForeign() {
    auto* exception = new _Unwind_Exception{};
    exception->exception_class = 0x464F524549474E00;  // "FOREIGN"
    exception->exception_cleanup = [](_Unwind_Reason_Code, _Unwind_Exception* raised) { delete raised; };
    _Unwind_RaiseException(exception);
    std::abort();  // nobody catches it
}

class ForeignException : public HostTest {
  protected:
    void configure(std::function<void(std::string_view)> sink = nullptr) {
        AnalyticsOptions options;
        options.targetUri = server_.url();
        options.documentsFolder = documents_.path();
        options.debug = sink != nullptr;
        options.debugLog = std::move(sink);
        Analytics::configure(options);
        Analytics::installReferrer({});
    }

    void clickAndFlush(const std::string& button) {
        Analytics::startVisit();
        Analytics::click({{"button", button}});
        EXPECT_TRUE(Analytics::flush(std::chrono::seconds(30)).complete);
        Analytics::endVisit();
    }

    /// Whether the loop still runs what it is given.
    static bool goesOn(platform::RunLoop& loop) {
        std::promise<void> didRun;
        loop.post([&] { didRun.set_value(); });
        return didRun.get_future().wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    }
};

TEST_F(ForeignException, OfTheLogSinkCostsTheLineAlone) {
    static std::atomic<int> raised = 0;  // removals go on logging when the test is over
    configure([](std::string_view) {
        ++raised;
        raiseForeign();
    });
    clickAndFlush("first");
    clickAndFlush("second");
    EXPECT_THAT(clicks(), ElementsAre("first", "second"));
    EXPECT_GT(raised, 0);
}

TEST_F(ForeignException, OfACompletionLeavesTheWorkerAndTheConnectionUsable) {
    configure();
    const auto& machine = platform::Platform::current();
    const auto queue = machine.workers->newOperationQueue();
    platform::HttpRequest request;
    request.url = server_.url();
    request.method = "GET";
    machine.httpClient->sendAsynchronousRequest(request, queue,
                                                [](const auto&, const auto&, const auto&) { raiseForeign(); });
    EXPECT_EQ(server_.waitForRequests(1).size(), 1U);
    EXPECT_TRUE(goesOn(*queue));
    clickAndFlush("after it");
    EXPECT_EQ(server_.requests().size(), 2U);
}

TEST_F(ForeignException, OfATaskIsDroppedAndTheLoopGoesOn) {
    configure();
    const auto& machine = platform::Platform::current();
    for (const auto& loop : {machine.mainQueue, machine.workers->newOperationQueue()}) {
        loop->post(raiseForeign);
        loop->callAfter(platform::Seconds(0), raiseForeign);
        EXPECT_TRUE(goesOn(*loop));
    }
    clickAndFlush("after it");
    EXPECT_THAT(clicks(), ElementsAre("after it"));
}

}  // namespace
}  // namespace harvelstone::testing
