#include "tools/inspection.hpp"

#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace harvelstone::tools {

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

Exchange uploadOf(std::string json) {
    Exchange exchange;
    exchange.json = std::move(json);
    return exchange;
}

std::vector<std::string> namesOf(const std::vector<InspectionEvent>& events) {
    std::vector<std::string> names;
    for (const auto& event : events) names.emplace_back(event.name);
    return names;
}

TEST(KeptExchanges, KeepsTheLatestExchanges) {
    Inspection inspection({.exchanges = 2});
    for (const auto* json : {"{\"n\":1}", "{\"n\":2}", "{\"n\":3}"}) inspection.add(uploadOf(json));
    EXPECT_EQ(inspection.documentLines(), "{\"n\":2}\n{\"n\":3}\n");
    EXPECT_THAT(inspection.stateJson(), HasSubstr("\"first\":2,\"last\":3"));
}

TEST(KeptExchanges, KeepsNoMoreBytesThanItMay) {
    Inspection inspection({.bytes = 20'000});
    for (int i = 0; i < 100; ++i) inspection.add(uploadOf(std::string(1000, 'x')));
    const auto kept = inspection.documentLines().size() / 1001;
    EXPECT_GT(kept, 5U);
    EXPECT_LT(kept, 20U);
}

TEST(KeptExchanges, LongRepliesCountToo) {
    Inspection inspection({.bytes = 20'000});
    Reply reply;
    reply.body = std::string(9000, 'x');
    for (int i = 0; i < 10; ++i) inspection.answered(inspection.add(uploadOf("{}")), {reply});
    EXPECT_LT(inspection.documentLines().size() / 3, 3U);
}

TEST(KeptExchanges, LeavesOutATextThatIsTooLong) {
    Inspection inspection({.document = 10});
    inspection.add(uploadOf(std::string(11, 'x')));
    inspection.add(uploadOf(std::string(10, 'y')));
    EXPECT_EQ(inspection.documentLines(), std::string(10, 'y') + "\n");
}

TEST(KeptExchanges, TellsWhatHasChangedSince) {
    Inspection inspection;
    const auto first = inspection.add(uploadOf("{}"));
    inspection.add(uploadOf("{}"));
    const auto before = inspection.changesAfter(0, 0ms);
    EXPECT_THAT(namesOf(before), ElementsAre("exchange", "exchange"));
    EXPECT_THAT(inspection.changesAfter(before.back().version, 0ms), IsEmpty());

    inspection.answered(first, {});
    const auto changes = inspection.changesAfter(before.back().version, 0ms);
    ASSERT_THAT(namesOf(changes), ElementsAre("exchange"));
    EXPECT_THAT(changes[0].json, HasSubstr("\"number\":1"));
}

TEST(KeptExchanges, TellsMuchPieceByPiece) {
    Inspection inspection;
    for (int i = 0; i < 120; ++i) inspection.add(uploadOf("{}"));
    std::uint64_t version = 0;
    std::size_t told = 0;
    for (auto changes = inspection.changesAfter(0, 0ms); !changes.empty();
         changes = inspection.changesAfter(version, 0ms)) {
        EXPECT_LE(changes.size(), 50U);
        told += changes.size();
        version = changes.back().version;
    }
    EXPECT_EQ(told, 120U);
}

TEST(KeptExchanges, AnAnswerToWhatIsForgottenIsForgotten) {
    Inspection inspection({.exchanges = 1});
    const auto first = inspection.add(uploadOf("{\"n\":1}"));
    inspection.add(uploadOf("{\"n\":2}"));
    inspection.answered(first, {});
    EXPECT_THAT(inspection.exchangesJson(), HasSubstr("\"given\":null"));
    inspection.clear();
    inspection.answered(2, {});
    EXPECT_EQ(inspection.exchangesJson(), "[]");
}

TEST(KeptExchanges, TellsThatItWasCleared) {
    Inspection inspection;
    inspection.add(uploadOf("{}"));
    inspection.clear();
    const auto changes = inspection.changesAfter(1, 0ms);
    ASSERT_THAT(namesOf(changes), ElementsAre("cleared"));
    EXPECT_EQ(changes[0].json, "{\"first\":2}");
}

TEST(KeptExchanges, HandsAMisbehaviourOutAsOftenAsAskedFor) {
    Inspection inspection;
    Misbehaviour misbehaviour{2, {}};
    misbehaviour.reply.status = 503;
    inspection.misbehave(misbehaviour);
    EXPECT_EQ(inspection.takeMisbehaviour()->status, 503);
    EXPECT_TRUE(inspection.takeMisbehaviour().has_value());
    EXPECT_FALSE(inspection.takeMisbehaviour().has_value());
}

TEST(KeptExchanges, WhoWaitsSeesAChangeAtOnceAndTheEndToo) {
    Inspection inspection;
    auto change = std::async(std::launch::async, [&] { return inspection.changesAfter(0, 60s); });
    inspection.add(uploadOf("{}"));
    EXPECT_EQ(change.get().size(), 1U);
    auto end = std::async(std::launch::async, [&] { return inspection.changesAfter(1, 60s); });
    inspection.end();
    EXPECT_THAT(end.get(), IsEmpty());
    EXPECT_TRUE(inspection.hasEnded());
}

}  // namespace

}  // namespace harvelstone::tools
