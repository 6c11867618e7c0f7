#include "harvelstone/document/Fate.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>
#include <vector>

namespace harvelstone {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

constexpr Fate allFates[] = {
    Fate::sent,         Fate::transportFailed, Fate::expired,      Fate::retriesExhausted, Fate::noConversionData,
    Fate::trafficLimit, Fate::sessionMissing,  Fate::otherAnswered};

TEST(Fates, AllHaveANameOfTheirOwn) {
    std::vector<std::string_view> names;
    for (const auto fate : allFates) names.push_back(fateName(fate));

    EXPECT_THAT(names, ElementsAre("sent", "transport_failed", "expired", "retries_exhausted", "no_conversion_data",
                                   "traffic_limit", "session_missing", "other_answered"));
    EXPECT_EQ(names.size(), fateCount);
}

TEST(Fates, AreCountedEachForItself) {
    EXPECT_EQ(fateCounts().retired(), 0U);
    recordFate("a", Fate::sent);
    recordFate("b", Fate::sent);
    recordFate("c", Fate::sessionMissing);

    const auto counts = fateCounts();
    EXPECT_EQ(counts[Fate::sent], 2U);
    EXPECT_EQ(counts[Fate::sessionMissing], 1U);
    EXPECT_EQ(counts[Fate::expired], 0U);
    EXPECT_EQ(counts.retired(), 3U);
}

TEST(Fates, AreToldToTheObserver) {
    std::vector<std::pair<std::string, Fate>> seen;
    setFateObserver([&](const std::string& documentId, Fate fate) { seen.emplace_back(documentId, fate); });
    recordFate("a", Fate::expired);
    recordFate("b", Fate::trafficLimit);

    EXPECT_THAT(seen, ElementsAre(Pair("a", Fate::expired), Pair("b", Fate::trafficLimit)));
}

TEST(Fates, AreCountedBeforeTheObserverIsTold) {
    std::uint64_t countSeen = 0;
    setFateObserver([&](const std::string&, Fate fate) { countSeen = fateCounts()[fate]; });
    recordFate("a", Fate::sent);

    EXPECT_EQ(countSeen, 1U);
}

TEST(Fates, GoToTheNewestObserverAlone) {
    int first = 0;
    int second = 0;
    setFateObserver([&](const std::string&, Fate) { ++first; });
    setFateObserver([&](const std::string&, Fate) { ++second; });
    recordFate("a", Fate::sent);

    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST(Fates, NeedNoObserver) {
    int told = 0;
    setFateObserver([&](const std::string&, Fate) { ++told; });
    setFateObserver(nullptr);
    recordFate("a", Fate::sent);

    EXPECT_EQ(told, 0);
    EXPECT_EQ(fateCounts()[Fate::sent], 1U);
}

TEST(Fates, AreCountedThoughTheObserverRaises) {
    setFateObserver([](const std::string&, Fate) { throw std::runtime_error("the host's own trouble"); });

    EXPECT_NO_THROW(recordFate("a", Fate::sent));
    setFateObserver([](const std::string&, Fate) { throw 1; });
    EXPECT_NO_THROW(recordFate("b", Fate::sent));
    EXPECT_EQ(fateCounts()[Fate::sent], 2U);
}

}  // namespace
}  // namespace harvelstone
