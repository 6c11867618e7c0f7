#include "tools/held_records.hpp"

#include <gtest/gtest.h>

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::tools {

namespace {

constexpr auto early = "2016-11-16T01:20:00+00:00";
constexpr auto late = "2016-11-16T01:20:07+00:00";

Dictionary stamped(Dictionary record) {
    record.insert_or_assign("app_version", "2.1");
    record.insert_or_assign("sdk_version", "21.2.54");
    return record;
}

Dictionary click(int number) { return {{"n", number}}; }

Dictionary filledWith(const std::string& section, Value records) {
    return {{"retry_count", 1}, {section, std::move(records)}};
}

std::size_t heldClicks(const List& inDocument, const List& unread, std::uint64_t consumed = 0) {
    return heldRecords(filledWith("click", inDocument), RecordKind::click, unread, consumed);
}

TEST(HeldRecords, AreThoseThatAFilledDocumentHasFromTheQueue) {
    EXPECT_EQ(heldClicks({stamped(click(1)), stamped(click(2))}, {click(1), click(2)}), 2U);
}

TEST(HeldRecords, AreNotThoseThatCameAfterTheDocumentWasFilled) {
    EXPECT_EQ(heldClicks({stamped(click(1)), stamped(click(2))}, {click(1), click(2), click(3)}), 2U);
}

TEST(HeldRecords, AreAllOfSeveralThatAreEqual) {
    EXPECT_EQ(heldClicks({stamped(click(1)), stamped(click(1))}, {click(1), click(1), click(2)}), 2U);
}

TEST(HeldRecords, AreNoneOnceTheQueueHasGivenThemAway) {
    EXPECT_EQ(heldClicks({stamped(click(1))}, {click(1)}, /*consumed=*/1), 0U);
}

TEST(HeldRecords, AreNoneBeforeADocumentIsFilled) {
    const Dictionary document{{"click", List{click(1)}}};
    EXPECT_EQ(heldRecords(document, RecordKind::click, {click(1)}, /*consumed=*/0), 0U);
}

TEST(HeldRecords, AreNoneOfAKindThatTheDocumentLacks) {
    EXPECT_EQ(heldClicks({}, {click(1)}), 0U);
    EXPECT_EQ(heldRecords(filledWith("click", List{click(1)}), RecordKind::event, {click(1)}, /*consumed=*/0), 0U);
}

TEST(HeldRecords, ArePagesUpToTheLastOneOfASummary) {
    const List inDocument{stamped({{"visit_time", early}, {"visit_seconds", 9}, {"page_views", 2}})};
    const List unread{Dictionary{{"visit_time", early}, {"page_views", 1}},
                      Dictionary{{"visit_time", early}, {"page_views", 1}},
                      Dictionary{{"visit_time", late}, {"page_views", 1}}};
    EXPECT_EQ(heldRecords(filledWith("pages", inDocument), RecordKind::page, unread, /*consumed=*/0), 2U);
}

TEST(HeldRecords, AreCompletePages) {
    const Dictionary page{{"visit_time", early}, {"visit_seconds", 9}, {"page_views", 2}, {"name", "cart"}, {"a", 1}};
    const List inDocument{stamped(page)};
    auto other = page;
    other["a"] = 2;
    const List unread{Dictionary{{"visit_time", early}}, page, other};
    EXPECT_EQ(heldRecords(filledWith("pages", inDocument), RecordKind::page, unread, /*consumed=*/0), 2U);
}

TEST(HeldRecords, AreTheOnePushThatADocumentCarries) {
    const Dictionary push{{"id", 7}};
    const List unread{push, Dictionary{{"id", 8}}};
    EXPECT_EQ(heldRecords(filledWith("push", stamped(push)), RecordKind::push, unread, /*consumed=*/0), 1U);
    EXPECT_EQ(heldRecords(filledWith("push", Dictionary{{"id", 9}}), RecordKind::push, unread, /*consumed=*/0), 0U);
}

}  // namespace

}  // namespace harvelstone::tools
