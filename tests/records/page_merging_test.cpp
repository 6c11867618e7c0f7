#include <cstdint>
#include <limits>

#include "harvelstone/services/BSUtil.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class PageMerging : public DocumentTest {
  protected:
    PageMerging() { manager(); }

    static Dictionary page(const Value& date, const Value& visitSeconds, const Value& pageViews) {
        return {{StaticValues::PARAM_VT_TZ(), date},
                {StaticValues::PARAM_VS(), visitSeconds},
                {StaticValues::PARAM_CS_P_V(), pageViews}};
    }
    /// A record of that many keys.
    static Dictionary completePage(const std::string& name, int keys = 6) {
        Dictionary record{{StaticValues::PARAM_VT_TZ(), name}};
        for (int i = 1; i < keys; ++i) record.emplace("key" + std::to_string(i), name);
        return record;
    }

    static void seed(const Value& date, double visitSeconds, std::int64_t pageViews) {
        (*documentDB)->putString(StaticValues::PARAM_VT_TZ(), *date.string());
        (*documentDB)->putDouble(StaticValues::PARAM_VS(), visitSeconds);
        (*documentDB)->putInt(StaticValues::PARAM_CS_P_V(), pageViews);
    }

    List merged(const List& pages) { return manager().mergePages(pages); }
    static std::string now() { return BSUtil::getCurrentDateString(); }
};

TEST_F(PageMerging, NothingMergesToNothing) { EXPECT_THAT(merged({}), IsEmpty()); }

TEST_F(PageMerging, ASeedWithPageViewsAloneMakesOneSummary) {
    seed("t0", 2.9, 4);

    EXPECT_THAT(merged({}), ElementsAre(Value(page("t0", 2, 4))));
}

TEST_F(PageMerging, ASeedWithoutPageViewsIsDropped) {
    seed("t0", 20, 0);

    EXPECT_THAT(merged({}), IsEmpty());
}

TEST_F(PageMerging, ASeedWithoutADateIsOfNow) {
    (*documentDB)->putInt(StaticValues::PARAM_CS_P_V(), 1);

    EXPECT_THAT(merged({}), ElementsAre(Value(page(now(), 0, 1))));
}

TEST_F(PageMerging, TheSeedIsOnlyRead) {
    seed("t0", 2.5, 4);
    merged({page("t1", 1, 1)});

    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_VT_TZ()), Value("t0"));
    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_VS()), Value(2.5));
    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_CS_P_V()), Value(4));
}

TEST_F(PageMerging, AMixedRunMergesAsInTheExample) {
    seed("t0", 2.0, 0);
    const auto c1 = completePage("C1");

    EXPECT_THAT(merged({page("t1", 10, 1), page("t2", 5.5, 1), c1, page("t3", 3, 0)}),
                ElementsAre(page("t2", 17, 2), c1));
}

TEST_F(PageMerging, ThreeShortRecordsBeforeACompleteOneMakeASummaryAndThatRecord) {
    seed("t0", 1, 1);
    const auto c1 = completePage("C1");

    EXPECT_THAT(merged({page("t1", 1, 1), page("t2", 2, 1), page("t3", 3, 1), c1}), ElementsAre(page("t3", 7, 4), c1));
}

TEST_F(PageMerging, ARunAfterACompleteRecordStartsFromZeroAndNotFromTheSeed) {
    seed("t0", 50, 0);
    const auto c1 = completePage("C1");

    EXPECT_THAT(merged({c1}), ElementsAre(Value(c1)));
    EXPECT_THAT(merged({c1, page("t1", 3, 1)}), ElementsAre(c1, page("t1", 3, 1)));
}

TEST_F(PageMerging, TheFirstCompleteRecordEndsTheSeedsRun) {
    seed("t0", 50, 2);
    const auto c1 = completePage("C1");

    EXPECT_THAT(merged({c1, page("t1", 3, 1)}), ElementsAre(page("t0", 50, 2), c1, page("t1", 3, 1)));
}

TEST_F(PageMerging, CompleteRecordsInARowStayAsTheyAre) {
    EXPECT_THAT(merged({completePage("C1"), completePage("C2")}), ElementsAre(completePage("C1"), completePage("C2")));
}

TEST_F(PageMerging, ARunWhosePageViewsSumToZeroIsDroppedWhateverItsSeconds) {
    EXPECT_THAT(merged({page("t1", 10, 2), page("t2", 10, -2)}), IsEmpty());
}

TEST_F(PageMerging, ANegativeSumIsKept) {
    EXPECT_THAT(merged({page("t1", -10, -2)}), ElementsAre(Value(page("t1", -10, -2))));
}

TEST_F(PageMerging, FourKeysAreShortAndFiveComplete) {
    auto four = page("t1", 1, 1);
    four.emplace("title", "home");
    auto five = four;
    five.emplace("path", "/");

    EXPECT_THAT(merged({four}), ElementsAre(Value(page("t1", 1, 1))));
    EXPECT_THAT(merged({five}), ElementsAre(Value(five)));
}

TEST_F(PageMerging, FractionsAreDroppedAtEveryRecord) {
    EXPECT_THAT(merged({page("t1", 1.5, 1.5), page("t2", 1.5, 1.5)}), ElementsAre(Value(page("t2", 2, 2))));
    EXPECT_THAT(merged({page("t1", 0.9, 1), page("t2", 0.9, 0)}), ElementsAre(Value(page("t2", 0, 1))));
    EXPECT_THAT(merged({page("t1", 5, 0.9), page("t2", 5, 0.9)}), IsEmpty());
    EXPECT_THAT(merged({page("t1", -1.5, -1.5)}), ElementsAre(Value(page("t1", -1, -1))));
}

TEST_F(PageMerging, AMissingCounterCountsAsZero) {
    EXPECT_THAT(merged({Dictionary{{StaticValues::PARAM_VT_TZ(), "t1"}, {StaticValues::PARAM_CS_P_V(), 1}},
                        Dictionary{{StaticValues::PARAM_VT_TZ(), "t2"}, {StaticValues::PARAM_VS(), 4}},
                        Dictionary{{StaticValues::PARAM_VT_TZ(), "t3"}}}),
                ElementsAre(Value(page("t3", 4, 1))));
}

TEST_F(PageMerging, ShortRecordsAreFoldedWithoutTheirOtherKeys) {
    auto titled = page("t1", 1, 1);
    titled.emplace("title", "home");

    EXPECT_THAT(merged({titled}), ElementsAre(Value(page("t1", 1, 1))));
}

TEST_F(PageMerging, SumsAreHeldToTheIntegerRange) {
    constexpr auto highest = std::numeric_limits<std::int64_t>::max();
    constexpr auto lowest = std::numeric_limits<std::int64_t>::min();

    EXPECT_THAT(merged({page("t1", highest, highest), page("t2", 1e300, highest)}),
                ElementsAre(Value(page("t2", highest, highest))));
    EXPECT_THAT(merged({page("t1", lowest, lowest), page("t2", -1e300, lowest)}),
                ElementsAre(Value(page("t2", lowest, lowest))));
}

TEST_F(PageMerging, AShortRecordWithoutADateIsRefused) {
    EXPECT_THAT(refusal([&] {
                    merged({completePage("C1"), Dictionary{{StaticValues::PARAM_CS_P_V(), 1}}});
                }),
                HasSubstr("\"" + StaticValues::PARAM_VT_TZ() + "\""));
    EXPECT_THAT(refusal([&] { merged({Dictionary{}}); }), HasSubstr("\"" + StaticValues::PARAM_VT_TZ() + "\""));
    EXPECT_THAT(refusal([&] { merged({5}); }), HasSubstr("\"" + StaticValues::PARAM_VT_TZ() + "\""));
}

TEST_F(PageMerging, TheInputIsNotChanged) {
    const List pages{page("t1", 1, 1), completePage("C1")};
    const auto before = pages;
    merged(pages);

    EXPECT_EQ(pages, before);
}

TEST_F(PageMerging, ASummaryAfterACompleteRecordHasTheDateOfItsLastRecord) {
    machine.clock->advance(100);

    EXPECT_THAT(merged({completePage("C1"), page("t1", 1, 1), page("t2", 0, 0)}),
                ElementsAre(completePage("C1"), page("t2", 1, 1)));
}

}  // namespace
}  // namespace harvelstone::testing
