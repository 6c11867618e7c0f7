// A pending list that is far too long for a recursion.

#include <exception>
#include <pthread.h>

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;

constexpr std::size_t count = 100'000;

/// Runs the piece on a thread whose stack holds a few calls, but not one call a document.
void onSmallStack(const std::function<void()>& piece) {
    constexpr std::size_t stackSize = 512 * 1024;
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stackSize), 0);
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&piece)), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

class LongList : public SendingTest {
  protected:
    /// A list of that many ids, then the one document there is.
    void putBeforeTheHead(const std::function<std::string(std::size_t)>& id) {
        std::vector<std::string> ids;
        for (std::size_t i = 0; i < count; ++i) ids.push_back(id(i));
        ids.push_back(headId());
        documetNameList->store(DocumentNames(std::move(ids)));
        BSDebugger::setEnabled(false);  // the whole list would be logged at each pass
    }
};

TEST_F(LongList, OfExpiredDocumentsIsRetiredInConstantStack) {
    const auto living = headId();
    document("expired")->putDictionary(TrackType::TYPE_SESSION().typeValue(), {{StaticValues::CREATE_TIME(), 0}});
    putBeforeTheHead([](std::size_t) { return "expired"; });
    onSmallStack([&] { send(); });

    EXPECT_EQ(fateCounts()[Fate::expired], count);
    EXPECT_THAT(pendingIds(), ElementsAre(living));
    EXPECT_THAT(idsOnDisk(machine), ElementsAre(living));
    EXPECT_EQ(sentCount(), 1U);
    EXPECT_EQ(removalsUnderWay(), count);
}

TEST_F(LongList, OfDocumentsWhoseFilesAreGoneIsRetiredInConstantStack) {
    const auto living = headId();
    putBeforeTheHead([](std::size_t i) { return "gone_" + std::to_string(i); });
    onSmallStack([&] { send(); });

    EXPECT_EQ(fateCounts()[Fate::sessionMissing], count);
    EXPECT_THAT(pendingIds(), ElementsAre(living));
    EXPECT_EQ(sentCount(), 1U);
}

}  // namespace
}  // namespace harvelstone::testing
