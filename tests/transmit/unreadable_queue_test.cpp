#include "tests/support/FaultyFileSystem.hpp"
#include "tests/support/LockHolder.hpp"
#include "tests/transmit/SendingTest.hpp"

/// A document whose queues cannot be read at its first assembly.
namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class UnreadableQueue : public SendingTest {
  protected:
    UnreadableQueue() {
        queue(StaticValues::GOAL_FILE_PREFIX(), {{"goal", 1}});
        queue(StaticValues::CLICK_FILE_PREFIX(), {{"click", 1}});
        queue(StaticValues::REVENUE_FILE_PREFIX(), {{"revenue", 1}});
    }

    std::string pathOf(const std::string& prefix) const { return machine.folder + prefix + headId() + ".Harvelstone"; }
    static List recordsOf(const Dictionary& document, const TypeConstant& type) {
        return *findValue(document, type.typeValue())->list();
    }
    void expectWholeUpload() {
        EXPECT_THAT(recordsOf(uploaded(), TrackType::TYPE_GOAL()), SizeIs(1));
        EXPECT_THAT(recordsOf(uploaded(), TrackType::TYPE_CLICK()), SizeIs(1));
        EXPECT_THAT(recordsOf(uploaded(), TrackType::TYPE_REVENUE()), SizeIs(1));
    }
};

TEST_F(UnreadableQueue, HeldByAnotherProcessLeavesItsDocumentAtTheHeadUntilItCanBeRead) {
    const auto id = headId();
    LockHolder holder(pathOf(StaticValues::CLICK_FILE_PREFIX()));

    const auto lines = linesOfAPass();

    EXPECT_EQ(lines.back(), "DEBUG_HARVELSTONE_JSON : an Exception occurred.");
    EXPECT_THAT(machine.log->linesStartingWith("DEBUG_HARVELSTONE_STORE : could not read"), SizeIs(1));
    EXPECT_THAT(pendingIds(), ElementsAre(id));
    EXPECT_EQ(attempts(id), std::nullopt) << "no attempt is lost";
    EXPECT_EQ(sentCount(), 0U);

    holder.letGo();
    send();
    expectWholeUpload();
}

TEST_F(UnreadableQueue, IsHeldOnlyAsLongAsItsDocumentLives) {
    const auto id = headId();
    const LockHolder holder(pathOf(StaticValues::CLICK_FILE_PREFIX()));
    expire(id);

    send();

    EXPECT_NE(headId(), id);
}

TEST_F(UnreadableQueue, CostsNoRecordWhicheverCallOfThePassFails) {
    int points = 0;
    for (const auto error : {std::errc::io_error, std::errc::too_many_files_open}) {
        bool hasFailed = true;
        for (std::size_t call = 1; hasFailed && call < 200; ++call, ++points) {
            SCOPED_TRACE("call " + std::to_string(call));
            const auto disk = std::make_shared<FaultyFileSystem>();
            platform::Platform::current().fileSystem = disk;
            disk->failCall(call, error);
            send();
            hasFailed = disk->hasFailed();
            disk->heal();
            if (machine.http->requests.empty()) send();
            expectWholeUpload();
            answer("{}");
            machine.http->requests.clear();
            machine.clock->advance(1);
            queue(StaticValues::GOAL_FILE_PREFIX(), {{"goal", 1}});
            queue(StaticValues::CLICK_FILE_PREFIX(), {{"click", 1}});
            queue(StaticValues::REVENUE_FILE_PREFIX(), {{"revenue", 1}});
        }
        EXPECT_FALSE(hasFailed);
    }
    RecordProperty("points", points);
    EXPECT_GT(points, 20);
}

}  // namespace
}  // namespace harvelstone::testing
