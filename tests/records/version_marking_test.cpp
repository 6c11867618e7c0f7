#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>
#include <utility>

#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/StorageBatch.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/DocumentTest.hpp"
#include "tests/support/peak_memory.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class VersionMarking : public DocumentTest {
  protected:
    VersionMarking() {
        manager();
        setAppVersion("3.1");
        machine.log->clear();
    }

    static void setAppVersion(const Value& version) { SessionManager::sharedInstance().configure({{"apVr", version}}); }

    static Dictionary stamped(Dictionary record, const std::string& appVersion = "3.1") {
        record[StaticValues::PARAM_AP_VR()] = appVersion;
        record[StaticValues::PARAM_SDK_VERSION()] = "21.2.54";
        return record;
    }

    static std::shared_ptr<NamedMap> document() { return TinyMap::sharedInstance().get("a document"); }
    static const std::string& key(const TypeConstant& type) { return type.typeValue(); }

    static List manyRecords() { return List(1'000, Dictionary{{"g3", 50}}); }
    /// In the goals of the document, which are none or many.
    static void expectAllStampedOrNone() {
        const auto goals = document()->getMutableArray(key(TrackType::TYPE_GOAL()));
        const auto count =
            std::ranges::count_if(goals, [](const Value& goal) { return goal.dictionary()->size() > 1; });
        EXPECT_TRUE(count == 0 || count == std::ssize(goals)) << count;
    }
};

TEST_F(VersionMarking, ARecordIsStampedInPlaceAndReturned) {
    Dictionary record{{"page", "home"}};
    auto& result = manager().markVersionToJson(record);

    EXPECT_EQ(&result, &record);
    EXPECT_EQ(record, stamped({{"page", "home"}}));
}

TEST_F(VersionMarking, EarlierStampsAreOverwritten) {
    Dictionary record{{StaticValues::PARAM_SDK_VERSION(), "1.0"}, {StaticValues::PARAM_AP_VR(), 7}};
    manager().markVersionToJson(record);

    EXPECT_EQ(record, stamped({}));
}

TEST_F(VersionMarking, AnAbsentAppVersionRaises) {
    setAppVersion(nullptr);
    Dictionary record;
    List records{Dictionary{{"page", "home"}}};

    EXPECT_THAT(refusal([&] { manager().markVersionToJson(record); }), HasSubstr(StaticValues::PARAM_AP_VR()));
    EXPECT_THAT(refusal([&] { manager().markVersionArr(records); }), HasSubstr(StaticValues::PARAM_AP_VR()));
    EXPECT_THAT(records, ElementsAre(Value(Dictionary{{"page", "home"}})));
}

TEST_F(VersionMarking, EveryRecordOfAListIsStampedInItsPlace) {
    List records{Dictionary{{"page", "home"}}, Dictionary{}, Dictionary{{"page", "cart"}}};
    const auto& result = manager().markVersionArr(records);

    EXPECT_EQ(&result, &records);
    EXPECT_THAT(records, ElementsAre(stamped({{"page", "home"}}), stamped({}), stamped({{"page", "cart"}})));
}

TEST_F(VersionMarking, TheRecordsThatAListWasMadeOfStayUnstamped) {
    const Value home(Dictionary{{"page", "home"}});
    List records{home};
    manager().markVersionArr(records);

    EXPECT_EQ(home, Value(Dictionary{{"page", "home"}}));
}

TEST_F(VersionMarking, AnEmptyListStaysEmpty) {
    setAppVersion(nullptr);
    List records;

    EXPECT_EQ(&manager().markVersionArr(records), &records);
    EXPECT_THAT(records, IsEmpty());
}

TEST_F(VersionMarking, AnElementThatIsNoRecordIsRefused) {
    List records{Dictionary{}, 5};

    EXPECT_EQ(refusal([&] { manager().markVersionArr(records); }), "element 1 of the records is no dictionary");
}

TEST_F(VersionMarking, ADocumentOfASessionAloneGetsThatStampedAndNothingElse) {
    document()->putDictionary(key(TrackType::TYPE_SESSION()), {{"sid", "S1"}});

    EXPECT_EQ(manager().markVersionInfo(document()), document());
    EXPECT_EQ(section(*document(), TrackType::TYPE_SESSION()), stamped({{"sid", "S1"}}));
    EXPECT_EQ(nlohmann::json::parse(document()->jsonString()).size(), 1U);
}

TEST_F(VersionMarking, EverySectionWithRecordsIsStamped) {
    for (const auto* type :
         {&TrackType::TYPE_GOAL(), &TrackType::TYPE_REVENUE(), &TrackType::TYPE_PAGES(), &TrackType::TYPE_CLICK()})
        document()->putMutableArray(key(*type), {Dictionary{{"of", key(*type)}}, Dictionary{}});
    document()->putDictionary(key(TrackType::TYPE_PUSH()), {{"message", "m-1"}});
    manager().markVersionInfo(document());

    for (const auto* type :
         {&TrackType::TYPE_GOAL(), &TrackType::TYPE_REVENUE(), &TrackType::TYPE_PAGES(), &TrackType::TYPE_CLICK()})
        EXPECT_THAT(document()->getMutableArray(key(*type)), ElementsAre(stamped({{"of", key(*type)}}), stamped({})));
    EXPECT_EQ(section(*document(), TrackType::TYPE_PUSH()), stamped({{"message", "m-1"}}));
}

TEST_F(VersionMarking, PostbackAndOtherSectionsAreLeftAlone) {
    document()->putDictionary(key(TrackType::TYPE_POSTBACK()), {{"partner", "p"}});
    document()->putDictionary("other", {{"a", 1}});
    manager().markVersionInfo(document());

    EXPECT_EQ(section(*document(), TrackType::TYPE_POSTBACK()), (Dictionary{{"partner", "p"}}));
    EXPECT_EQ(document()->getMutableDictionary("other"), (Dictionary{{"a", 1}}));
}

TEST_F(VersionMarking, MarkingTwiceIsMarkingOnce) {
    document()->putDictionary(key(TrackType::TYPE_SESSION()), {{"sid", "S1"}});
    document()->putMutableArray(key(TrackType::TYPE_GOAL()), {Dictionary{{"g3", 50}}});
    manager().markVersionInfo(document());
    const auto once = document()->jsonString();
    manager().markVersionInfo(document());

    EXPECT_EQ(document()->jsonString(), once);
}

TEST_F(VersionMarking, TheAppVersionIsFetchedAfreshForEachRecord) {
    List records{Dictionary{}};
    manager().markVersionArr(records);
    setAppVersion("3.2");
    manager().markVersionArr(records);

    EXPECT_THAT(records, ElementsAre(Value(stamped({}, "3.2"))));
}

TEST_F(VersionMarking, TheSectionsAreStampedInTheirOrderEachWithTheVersionOfThatMoment) {
    const std::vector<const TypeConstant*> lists{&TrackType::TYPE_GOAL(), &TrackType::TYPE_REVENUE(),
                                                 &TrackType::TYPE_PAGES(), &TrackType::TYPE_CLICK()};
    for (const auto* type : lists) document()->putMutableArray(key(*type), {Dictionary{}});
    document()->putDictionary(key(TrackType::TYPE_SESSION()), {{"sid", "S1"}});
    document()->putDictionary(key(TrackType::TYPE_PUSH()), {{"message", "m-1"}});
    setAppVersion(0);
    const auto files = recordFiles();
    int written = 0;  // sections, and none while the setting itself is written
    files->beforeRename = [&, isSetting = false]() mutable {
        if (std::exchange(isSetting, true)) return;
        setAppVersion(++written);
        isSetting = false;
    };
    manager().markVersionInfo(document());

    const auto& versionKey = StaticValues::PARAM_AP_VR();
    int expected = 0;
    for (const auto* type : lists)
        EXPECT_EQ(document()->getMutableArray(key(*type)).front().dictionary()->at(versionKey), Value(expected++));
    EXPECT_EQ(section(*document(), TrackType::TYPE_SESSION()).at(versionKey), Value(expected++));
    EXPECT_EQ(section(*document(), TrackType::TYPE_PUSH()).at(versionKey), Value(expected));
}

TEST_F(VersionMarking, TheRecordsOfOneListMayGetDifferentVersions) {
    std::atomic<bool> isEnough = false;
    std::thread host([&] {
        for (int version = 0; !isEnough; ++version) setAppVersion(version);
    });
    const auto differs = [](const Value& one, const Value& other) { return one != other; };
    for (int tries = 0; tries < 200 && !isEnough; ++tries) {
        List records(10'000, Dictionary{});
        manager().markVersionArr(records);
        isEnough = std::ranges::adjacent_find(records, differs) != records.end();
    }
    EXPECT_TRUE(isEnough.exchange(true));
    host.join();
}

TEST_F(VersionMarking, AListIsSeenStampedAsAWholeOrNotAtAll) {
    std::atomic<bool> isEnough = false;
    std::thread other([&] {
        while (!isEnough) expectAllStampedOrNone();
    });
    {
        const StorageBatch batch;
        for (int tries = 0; tries < 10; ++tries) {
            document()->putMutableArray(key(TrackType::TYPE_GOAL()), manyRecords());
            manager().markVersionInfo(document());
        }
    }
    isEnough = true;
    other.join();
}

TEST_F(VersionMarking, AFailureInTheMiddleOfAListLeavesAllOfItAsItWas) {
    std::atomic<bool> isEnough = false;
    std::thread host([&] {
        for (bool hasVersion = false; !isEnough; hasVersion = !hasVersion)
            setAppVersion(hasVersion ? Value("3.1") : Value(nullptr));
    });
    for (int tries = 0; tries < 10; ++tries) {
        const StorageBatch batch;
        document()->putMutableArray(key(TrackType::TYPE_GOAL()), manyRecords());
        manager().markVersionInfo(document());
        expectAllStampedOrNone();
    }
    isEnough = true;
    host.join();
}

TEST_F(VersionMarking, ALongListIsNotInMemoryTwice) {
    const StorageBatch batch;
    const auto ofList = memoryPeakDuring([] {
        document()->putMutableArray(key(TrackType::TYPE_PAGES()),
                                    List(5'000, Dictionary{{"page", std::string(1'000, 'x')}}));
    });
    const auto ofMarking = memoryPeakDuring([&] { manager().markVersionInfo(document()); });
    EXPECT_LE(ofMarking, ofList / 2);
}

TEST_F(VersionMarking, EarlierStampsInAListAreOverwritten) {
    const Dictionary goal{{StaticValues::PARAM_AP_VR(), "2.0"}, {"g3", 50}, {StaticValues::PARAM_SDK_VERSION(), 7}};
    document()->putMutableArray(key(TrackType::TYPE_GOAL()), {goal});
    manager().markVersionInfo(document());
    EXPECT_EQ(document()->getMutableArray(key(TrackType::TYPE_GOAL())), List{stamped({{"g3", 50}})});
}

TEST_F(VersionMarking, AListThatIsNoneBecomesAnEmptyOne) {
    document()->putString(key(TrackType::TYPE_GOAL()), "no list");
    manager().markVersionInfo(document());
    EXPECT_EQ(document()->get(key(TrackType::TYPE_GOAL())), Value(List()));
}

TEST_F(VersionMarking, RecordsThatAreAppendedMeanwhileStay) {
    constexpr std::size_t appended = 500;
    const auto& goalKey = key(TrackType::TYPE_GOAL());
    document()->putMutableArray(goalKey, {});
    std::atomic<bool> isEnough = false;
    std::thread pass([&] {
        const StorageBatch batch;
        while (!isEnough) manager().markVersionInfo(document());
    });
    {
        const StorageBatch batch;
        for (std::size_t i = 0; i < appended; ++i)
            document()->update([&](const Dictionary& held) -> Dictionary {
                auto goals = *held.at(goalKey).list();
                goals.emplace_back(Dictionary{{"g3", static_cast<std::int64_t>(i)}});
                return {{goalKey, std::move(goals)}};
            });
    }
    isEnough = true;
    pass.join();
    EXPECT_EQ(document()->getMutableArray(goalKey).size(), appended);
}

TEST_F(VersionMarking, MarkingLeavesTheSavingToItsCaller) {
    document()->putDictionary(key(TrackType::TYPE_SESSION()), {{"sid", "S1"}});
    const auto files = recordFiles();
    const StorageBatch batch;
    manager().markVersionInfo(document());
    manager().markAppOpenFlag(document());

    EXPECT_THAT(files->committed, IsEmpty());
}

TEST_F(VersionMarking, AFailureLeavesTheSectionsBeforeItStampedAndTheRestAlone) {
    document()->putMutableArray(key(TrackType::TYPE_GOAL()), {Dictionary{{"g3", 50}}});
    document()->putMutableArray(key(TrackType::TYPE_REVENUE()), {Dictionary{{"amount", 5}}, 7});
    document()->putMutableArray(key(TrackType::TYPE_PAGES()), {Dictionary{{"page", "home"}}});

    EXPECT_EQ(manager().markVersionInfo(document()), document());
    EXPECT_THAT(document()->getMutableArray(key(TrackType::TYPE_GOAL())), ElementsAre(Value(stamped({{"g3", 50}}))));
    EXPECT_THAT(document()->getMutableArray(key(TrackType::TYPE_REVENUE())),
                ElementsAre(Value(Dictionary{{"amount", 5}}), Value(7)));
    EXPECT_THAT(document()->getMutableArray(key(TrackType::TYPE_PAGES())),
                ElementsAre(Value(Dictionary{{"page", "home"}})));
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(VersionMarking, AnAbsentAppVersionLeavesTheDocumentAsItWasWithoutALine) {
    setAppVersion(nullptr);
    document()->putDictionary(key(TrackType::TYPE_SESSION()), {{"sid", "S1"}});

    EXPECT_EQ(manager().markVersionInfo(document()), document());
    EXPECT_EQ(section(*document(), TrackType::TYPE_SESSION()), (Dictionary{{"sid", "S1"}}));
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(VersionMarking, TheAppOpenFlagMovesIntoTheSessionOnce) {
    HarvelstoneCore::setAppOpenFlag(true);
    document()->putDictionary(key(TrackType::TYPE_SESSION()), {{"sid", "S1"}});

    EXPECT_EQ(manager().markAppOpenFlag(document()), document());
    auto expected = stamped({{"sid", "S1"}, {StaticValues::APP_OPEN_FLAG(), true}});
    EXPECT_EQ(section(*document(), TrackType::TYPE_SESSION()), expected);
    EXPECT_FALSE(HarvelstoneCore::getAppOpenFlag());

    manager().markAppOpenFlag(document());
    expected[StaticValues::APP_OPEN_FLAG()] = false;
    EXPECT_EQ(section(*document(), TrackType::TYPE_SESSION()), expected);
}

TEST_F(VersionMarking, WithoutASessionSectionTheAppOpenFlagStays) {
    HarvelstoneCore::setAppOpenFlag(true);
    document()->putInt("other", 1);

    EXPECT_EQ(manager().markAppOpenFlag(document()), document());
    EXPECT_TRUE(HarvelstoneCore::getAppOpenFlag());
    EXPECT_FALSE(document()->has(key(TrackType::TYPE_SESSION())));
}

TEST_F(VersionMarking, AFailureLeavesTheAppOpenFlagForTheNextDocument) {
    HarvelstoneCore::setAppOpenFlag(true);
    setAppVersion(nullptr);
    document()->putDictionary(key(TrackType::TYPE_SESSION()), {{"sid", "S1"}});

    EXPECT_EQ(manager().markAppOpenFlag(document()), document());
    EXPECT_TRUE(HarvelstoneCore::getAppOpenFlag());
    EXPECT_EQ(section(*document(), TrackType::TYPE_SESSION()), (Dictionary{{"sid", "S1"}}));
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(VersionMarking, AnErrorOfAnotherKindPassesOn) {
    document()->putDictionary(key(TrackType::TYPE_SESSION()), {{"sid", "S1"}});
    // What `markVersionInfo` finds broken is the machine: the configuration is read anew and its clock fails.
    setAppVersion("3.2");
    platform::Platform::current().clock =
        std::make_shared<HookedClock>([]() -> double { throw std::runtime_error("no clock"); });

    EXPECT_THROW(manager().markVersionInfo(document()), std::runtime_error);
    EXPECT_THROW(manager().markAppOpenFlag(document()), std::runtime_error);
}

}  // namespace
}  // namespace harvelstone::testing
