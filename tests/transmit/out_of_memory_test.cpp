// What the guards of the replies let pass: with an error of another kind than the platform's, here of the memory.

#if !defined(HARVELSTONE_THREAD_SANITIZER)  // whose own operators Clang links in a way that nothing can replace

#include <chrono>
#include <cstdlib>
#include <future>
#include <limits>
#include <new>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/WorkerThreads.hpp"

#include "tests/transmit/SendingTest.hpp"

namespace {

constexpr auto nothingIsRefused = std::numeric_limits<std::size_t>::max();

/// Requests of so many bytes and more are refused on this thread.
thread_local std::size_t refusedSize = nothingIsRefused;

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

// This one, too: the address sanitizer would take it for its own, and object to memory that is given back to ours.
void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
    return size < refusedSize ? std::malloc(size) : nullptr;
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace harvelstone::testing {
namespace {

class OutOfMemory : public SendingTest {
  protected:
    /// Answers the newest request with a body that there is no memory to read.
    void answerTooMuch() {
        const std::optional<std::string> body = std::string(1'000'000, ' ');
        refusedSize = body->size();
        const auto complete = [&] { machine.http->complete(sentCount() - 1, {}, body, std::nullopt); };
        EXPECT_THROW(complete(), std::bad_alloc);
        refusedSize = nothingIsRefused;
    }
};

/// With the first line there is memory again.
class RelievingLog final : public platform::Log {
  public:
    void platformLine(std::string_view line) noexcept override {
        refusedSize = nothingIsRefused;
        lines.emplace_back(line);
    }
    void debugLine(std::string_view /*line*/) noexcept override {}

    std::vector<std::string> lines;
};

TEST_F(OutOfMemory, OfATaskThatRaisesCostsItAndTheReasonAndTheWorkerGoesOn) {
    const auto log = std::make_shared<RelievingLog>();
    platform::Platform::current().log = log;
    platform::WorkerThreads workers;
    const auto queue = workers.newOperationQueue();
    queue->post([] {
        refusedSize = 0;
        throw std::bad_alloc();
    });
    queue->post([exception = platform::Exception("no paper")] {
        refusedSize = 0;
        throw exception;
    });
    std::promise<void> isDone;
    queue->post([&] { isDone.set_value(); });

    ASSERT_EQ(isDone.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_THAT(log->lines, ::testing::ElementsAre("harvelstone: a task raised an exception, dropped",
                                                   "harvelstone: a task raised an exception, dropped"));
}

TEST_F(OutOfMemory, TheReplyToADocumentPassesItOnAndTheDocumentStays) {
    send();
    machine.log->clear();
    answerTooMuch();

    EXPECT_THAT(pendingIds(), ::testing::SizeIs(1));
    EXPECT_THAT(machine.log->lines(), ::testing::IsEmpty());
}

TEST_F(OutOfMemory, TheReplyToAnImmediateUploadPassesItOn) {
    manager().sendClickDataImmediately({{"button", "buy"}});
    machine.log->clear();
    answerTooMuch();

    EXPECT_THAT(machine.log->lines(), ::testing::IsEmpty());
}

}  // namespace
}  // namespace harvelstone::testing

#endif
