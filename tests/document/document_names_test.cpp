#include "harvelstone/document/document_names.hpp"

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/platform/Json.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

TEST(DocumentNames, IsEmptyAtFirst) {
    EXPECT_TRUE(DocumentNames().empty());
    EXPECT_EQ(DocumentNames().size(), 0U);
    EXPECT_THAT(DocumentNames().asList(), IsEmpty());
}

TEST(DocumentNames, AppendsAtTheEndAndLeavesTheOriginalAsItWas) {
    const DocumentNames before({"a", "b"});
    const auto after = before.withAppended("c");

    EXPECT_EQ(after.asList(), (List{"a", "b", "c"}));
    EXPECT_EQ(before.asList(), (List{"a", "b"}));
}

TEST(DocumentNames, LosesItsFirstAndLeavesTheOriginalAsItWas) {
    const DocumentNames before({"a", "b"});
    const auto after = before.withoutFirst(Fate::sent);

    EXPECT_EQ(after.asList(), List{"b"});
    EXPECT_EQ(after.at(0), "b");
    EXPECT_EQ(after.size(), 1U);
    EXPECT_EQ(before.asList(), (List{"a", "b"}));
}

TEST(DocumentNames, SharesItsTextsWithTheListWithoutTheFirst) {
    const DocumentNames before({"a", "b"});

    EXPECT_EQ(&before.withoutFirst(Fate::sent).at(0), &before.at(1));
}

TEST(DocumentNames, AppendsBehindAListThatLostItsFirst) {
    EXPECT_EQ(DocumentNames({"a", "b"}).withoutFirst(Fate::sent).withAppended("c").asList(), (List{"b", "c"}));
    EXPECT_EQ(DocumentNames({"a"}).withoutFirst(Fate::sent).withAppended("c").asList(), List{"c"});
}

TEST(DocumentNames, RaisesOutsideItsRange) {
    const DocumentNames names({"a", "b"});

    EXPECT_THROW(static_cast<void>(names.at(2)), platform::RangeException);
    EXPECT_THROW(static_cast<void>(names.withoutFirst(Fate::sent).at(1)), platform::RangeException);
    EXPECT_THROW(static_cast<void>(DocumentNames().at(0)), platform::RangeException);
    EXPECT_THROW(static_cast<void>(DocumentNames().at(static_cast<std::size_t>(-1))), platform::RangeException);
}

TEST(DocumentNames, AnEmptyListHasNoFirstToLose) {
    EXPECT_THROW(DocumentNames().withoutFirst(Fate::sent), platform::RangeException);
}

class StoredNames : public DocumentTest {
  protected:
    std::shared_ptr<NamedMap> map = TinyMap::sharedInstance().get("map");
};

TEST_F(StoredNames, AreAbsentWhenNothingIsStored) { EXPECT_EQ(storedDocumentNames(*map), std::nullopt); }

TEST_F(StoredNames, AreAbsentWhenSomethingElseIsStored) {
    map->putString(pendingKey, "S1_1.000000");
    EXPECT_EQ(storedDocumentNames(*map), std::nullopt);
}

TEST_F(StoredNames, ArePresentThoughEmpty) {
    map->putMutableArray(pendingKey, {});
    EXPECT_THAT(storedDocumentNames(*map), Optional(IsEmpty()));
}

TEST_F(StoredNames, LeaveOutWhatIsNoText) {
    map->putMutableArray(pendingKey, {"a", 7, nullptr, List{"x"}, "b"});
    EXPECT_THAT(storedDocumentNames(*map), Optional(ElementsAre("a", "b")));
}

TEST_F(StoredNames, AreStoredUnderTheKeyOfThePendingList) {
    manager();
    documetNameList->store(DocumentNames({"a", "b"}));
    storeDocumentNames();

    EXPECT_THAT(storedIds(), ElementsAre("a", "b"));
    EXPECT_THAT(idsOnDisk(machine), ElementsAre("a", "b"));
}

TEST_F(StoredNames, ReplaceWhateverWasStored) {
    manager();
    const std::vector<Value> stored{
        Value(),
        "no list",
        List{},
        List{"b", "c"},
        List{"b"},
        List{"a", "b", "c", "d"},
        List{"a", "c", "b"},
        List{7, "b", nullptr, "c"},
    };
    for (const auto& before : stored)
        for (const auto& names : {DocumentNames(), DocumentNames({"b", "c"}), DocumentNames({"x"})}) {
            (*documentDB)->putAll({{pendingKey, before}});
            documetNameList->store(names);
            storeDocumentNames();
            EXPECT_EQ((*documentDB)->get(pendingKey), Value(names.asList())) << platform::jsonText(before);
        }
}

TEST_F(StoredNames, AreStoredOnceMoreWhenTheListChangesMeanwhile) {
    manager();
    documetNameList->store(DocumentNames({"a"}));
    const auto files = recordFiles();
    files->beforeRename = [&] {
        if (files->committed.empty())
            documetNameList->update([](const DocumentNames& names) { return names.withAppended("b"); });
    };
    storeDocumentNames();

    EXPECT_THAT(idsOnDisk(machine), ElementsAre("a", "b"));
    EXPECT_EQ(files->committed.size(), 2U);
}

TEST(Limits, AreThreeHoursAndThreeAttemptsAndCanBeChanged) {
    EXPECT_EQ(MAX_LEFE_TIME_JSONFILE, 3);
    EXPECT_EQ(MAX_RETRY_COUNT_FOR_SENDDOCUMENT, 3);

    MAX_LEFE_TIME_JSONFILE = 5;
    MAX_RETRY_COUNT_FOR_SENDDOCUMENT = 1;
    EXPECT_EQ(MAX_LEFE_TIME_JSONFILE, 5);
    EXPECT_EQ(MAX_RETRY_COUNT_FOR_SENDDOCUMENT, 1);
}

}  // namespace
}  // namespace harvelstone::testing
