// Passes, retirements and records on several threads at once: nothing keeps them apart, and nothing may break.

#include <stdlib.h>
#include <thread>

#include "harvelstone/platform/Calendar.hpp"
#include "harvelstone/platform/Exception.hpp"

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::SizeIs;

constexpr std::size_t documents = 200;

class OverlappingPasses : public SendingTest {
  protected:
    OverlappingPasses() {
        // With a zone in the environment the C library reads no zone file anew at each date: it does so behind a lock
        // of its own, which the thread sanitizer cannot see.
        setenv("TZ", "UTC", /*replace=*/1);
        static_cast<void>(platform::civilTime(0));
        std::vector<std::string> ids;
        for (std::size_t i = 0; i < documents; ++i) ids.push_back("gone_" + std::to_string(i));
        documetNameList->store(DocumentNames(std::move(ids)));
    }

    static void onThreads(const std::vector<std::function<void()>>& pieces) {
        std::vector<std::thread> threads;
        threads.reserve(pieces.size());
        for (const auto& piece : pieces) threads.emplace_back(piece);
        for (auto& thread : threads) thread.join();
    }
    std::size_t created() const {
        return machine.log->linesStartingWith("DEBUG_HARVELSTONE_CONFIG : documentID -->").size();
    }
};

TEST_F(OverlappingPasses, RetireEachIdOnceAndLeaveListAndStoreAlike) {
    const auto drain = [this] { send(); };
    onThreads({drain, drain, drain});

    EXPECT_EQ(fateCounts().retired() + pendingIds().size(), documents + created());
    EXPECT_EQ(storedIds(), pendingIds());
    EXPECT_EQ(idsOnDisk(machine), pendingIds());
    EXPECT_EQ(removalsUnderWay(), fateCounts().retired());
}

TEST_F(OverlappingPasses, LoseNoRecordThatComesInMeanwhile) {
    areRecordsOnlyOurs = false;  // it empties the queues in the end
    constexpr std::size_t events = 50;
    const auto lastId = pendingIds().back();
    std::size_t refused = 0;
    const auto record = [&](std::int64_t value) {
        try {
            manager().setEvent("type", "name", value);
        } catch (const platform::RangeException&) {
            ++refused;  // between the last retirement and the refill there is no document
        }
    };
    onThreads({[this] { send(); },
               [&] {
                   for (std::size_t i = 0; i < events; ++i) record(static_cast<std::int64_t>(i));
               },
               [this] {
                   manager().sendClickDataImmediately({{"button", "buy"}});
               }});

    ASSERT_THAT(pendingIds(), SizeIs(1));
    const auto queued = [this](const std::string& id) {
        return manager().getQueue(StaticValues::EVENT_FILE_PREFIX(), id).size();
    };
    EXPECT_EQ(queued(lastId) + queued(headId()) + refused, events);
}

}  // namespace
}  // namespace harvelstone::testing
