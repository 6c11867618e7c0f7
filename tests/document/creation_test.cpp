#include <algorithm>

#include "harvelstone/services/HarvelstonePostback.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/DocumentTest.hpp"
#include "tests/support/MemoryFileSystem.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class Creation : public DocumentTest {
  protected:
    Creation() {
        manager();
        machine.clock->advance(1);
        machine.log->clear();
    }

    void haveTraces() {
        auto& profile = ProfileManager::sharedInstance();
        profile.putSessionData(StaticValues::PARAM_MAT_SOURCE_TRACE(), List{"mail", "search"});
        profile.putSessionData(StaticValues::PARAM_MAT_CAMPAIGN_TRACE(), List{"autumn"});
    }

    static std::string sessionId() { return SessionManager::sharedInstance().getSession(0); }

    std::string refusalOfCreation() {
        return refusal([&] { manager().createDocument(); });
    }
    static std::string missing(const std::string& key) { return "no value for key \"" + key + "\""; }

    /// The place of the map among all that was committed, from 0; a failure when it was not.
    static std::ptrdiff_t placeOf(const RecordingFileSystem& files, const std::string& name) {
        const auto found = std::ranges::find(files.committed, storedFilePath(name));
        EXPECT_NE(found, files.committed.end()) << name << " was not committed";
        return found - files.committed.begin();
    }
};

TEST_F(Creation, AnIdIsTheSessionAndTheSecondsWithSixDecimals) {
    machine.clock->set(1'479'259'200.5);
    EXPECT_EQ(manager().createDocument()->name(), sessionId() + "_1479259200.500000");
    machine.clock->set(1'479'259'201.0000004);
    EXPECT_EQ(manager().createDocument()->name(), sessionId() + "_1479259201.000000");
}

TEST_F(Creation, ADocumentIsListedOnDiskOnceItIsThere) {
    const auto files = recordFiles();
    files->mayOpen = [](const std::string& path) { return path.find(sessionId() + "_") == path.npos; };
    const auto id = manager().createDocument()->name();
    EXPECT_THAT(pendingIds(), Contains(id));
    EXPECT_THAT(idsOnDisk(machine), Not(Contains(id)));
    files->mayOpen = nullptr;
    TinyMap::sharedInstance().get("another")->putInt("a", 1);
    EXPECT_THAT(idsOnDisk(machine), Contains(id));
    EXPECT_LT(placeOf(*files, id), placeOf(*files, "DocumentDB"));
}

TEST_F(Creation, LogsTheIdFirst) {
    const auto document = manager().createDocument();

    EXPECT_THAT(machine.log->lines(), ElementsAre("DEBUG_HARVELSTONE_CONFIG : documentID --> " + document->name() + " ",
                                                  "DEBUG_HARVELSTONE_CONFIG : getSessionConfigJson called. ",
                                                  "DEBUG_HARVELSTONE_CONFIG_LTVT : 1 / N "));
}

TEST_F(Creation, TheNewIdIsLastInMemoryInTheStoreAndOnDisk) {
    const auto before = pendingIds();
    const auto document = manager().createDocument();

    EXPECT_THAT(pendingIds(), ElementsAre(before.front(), document->name()));
    EXPECT_EQ(storedIds(), pendingIds());
    EXPECT_EQ(idsOnDisk(machine), pendingIds());
}

TEST_F(Creation, TheNewDocumentIsCurrentAndKnownToTheRegistry) {
    const auto document = manager().createDocument();

    EXPECT_EQ(*currentDocument->load(), document);
    EXPECT_EQ(TinyMap::sharedInstance().get(document->name()), document);
}

TEST_F(Creation, ADocumentHoldsTheSessionAndThePostbackSectionAlone) {
    HarvelstonePostback::sharedInstance().setPostbackData({{"partner", "p-1"}});
    const auto document = manager().createDocument();

    const auto json = nlohmann::json::parse(document->jsonString());
    EXPECT_EQ(json.size(), 2U);
    EXPECT_TRUE(json.at("session").contains(StaticValues::CREATE_TIME()));
    EXPECT_EQ(json.at("postback").at("partner"), "p-1");
    EXPECT_FALSE(document->has(StaticValues::RETRY_COUNT()));
    EXPECT_EQ(section(*document, TrackType::TYPE_POSTBACK()), HarvelstonePostback::sharedInstance().getPostbackJosn());
}

TEST_F(Creation, TheSessionSectionComesFromEveryStepOfThePipeline) {
    manager().createDocument();

    const auto session = currentSession();
    EXPECT_TRUE(session.contains(StaticValues::PARAM_AK()));
    EXPECT_TRUE(session.contains(StaticValues::PARAM_SID()));
    EXPECT_TRUE(session.contains(StaticValues::PARAM_LTVI()));
    EXPECT_TRUE(session.contains(StaticValues::PARAM_MBR()));
    EXPECT_TRUE(session.contains(StaticValues::PARAM_MAT_SOURCE_TRACE()));
    EXPECT_TRUE(session.contains(StaticValues::PARAM_MVT3()));
    EXPECT_THAT(session, SizeIs(18 + 9 + 2 + 15 + 36 + 3 + 1));
}

TEST_F(Creation, TheCreationTimeIsADoubleReadAfterTheIdWasMade) {
    machine.clock->tickPerReading(0.5);
    const auto document = manager().createDocument();

    const auto created = section(*document, TrackType::TYPE_SESSION()).at(StaticValues::CREATE_TIME());
    const auto inId = std::stod(document->name().substr(document->name().find('_') + 1));
    EXPECT_TRUE(created.isDouble());
    EXPECT_GT(created.doubleValue(), inId);
    EXPECT_LE(created.doubleValue(), machine.clock->now());
}

TEST_F(Creation, TheCreationTimeIsTheTimeInTheIdWhileTheClockStands) {
    machine.clock->set(1'479'300'000.25);
    manager().createDocument();

    EXPECT_EQ(currentSession().at(StaticValues::CREATE_TIME()), Value(1'479'300'000.25));
}

TEST_F(Creation, AMarkedRevenueEndsTheTracesAndIsUnmarked) {
    haveTraces();
    ProfileManager::sharedInstance().markRevenue();
    manager().createDocument();

    EXPECT_FALSE(ProfileManager::sharedInstance().isMarkRevenue());
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_MAT_SOURCE_TRACE()), Value(List{}));
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_MAT_CAMPAIGN_TRACE()), Value(List{}));
}

TEST_F(Creation, WithoutARevenueTheTracesStay) {
    haveTraces();
    manager().createDocument();

    EXPECT_EQ(currentSession().at(StaticValues::PARAM_MAT_SOURCE_TRACE()), Value(List{"mail", "search"}));
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_MAT_CAMPAIGN_TRACE()), Value(List{"autumn"}));
}

TEST_F(Creation, TheRevenueIsSettledBeforeAnythingElse) {
    haveTraces();
    ProfileManager::sharedInstance().markRevenue();
    SessionManager::sharedInstance().configure({{"ak", nullptr}});

    EXPECT_THAT(refusal([&] { manager().createDocument(); }), HasSubstr(StaticValues::PARAM_AK()));
    EXPECT_FALSE(ProfileManager::sharedInstance().isMarkRevenue());
    EXPECT_THAT(*ProfileManager::sharedInstance().getSessionStringListData(StaticValues::PARAM_MAT_SOURCE_TRACE()),
                IsEmpty());
}

TEST_F(Creation, TheTracesEndBeforeTheRevenueIsUnmarked) {
    haveTraces();
    ProfileManager::sharedInstance().markRevenue();
    const auto files = recordFiles();
    manager().createDocument();

    EXPECT_LT(placeOf(*files, "BS_SESSION_MAP"), placeOf(*files, "current_profile_file"));
}

TEST_F(Creation, TheStepsOfThePipelineFollowEachOther) {
    auto& profile = ProfileManager::sharedInstance();
    SessionManager::sharedInstance().configure({{"ak", nullptr}});
    profile.setProfile({{"mbr", nullptr}});
    profile.putSessionData(StaticValues::PARAM_MAT_SOURCE(), nullptr);
    profile.putSessionData(StaticValues::PARAM_MVT1(), nullptr);
    endVisit();

    EXPECT_EQ(refusalOfCreation(), missing(StaticValues::PARAM_AK()));
    EXPECT_EQ(manager().getLtvt(), 1);  // the visit is counted in the step behind
    SessionManager::sharedInstance().configure({{"ak", "shop"}});
    EXPECT_EQ(refusalOfCreation(), missing(StaticValues::PARAM_MBR()));
    EXPECT_EQ(manager().getLtvt(), 2);
    profile.setProfile({{"mbr", "m"}});
    EXPECT_EQ(refusalOfCreation(), missing(StaticValues::PARAM_MAT_SOURCE()));
    profile.putSessionData(StaticValues::PARAM_MAT_SOURCE(), "mail");
    EXPECT_EQ(refusalOfCreation(), missing(StaticValues::PARAM_MVT1()));
}

TEST_F(Creation, AMissingValueRaisesAndNothingJoinsTheList) {
    const auto before = pendingIds();
    const auto current = *currentDocument->load();
    ProfileManager::sharedInstance().putSessionData(StaticValues::PARAM_MVT2(), nullptr);

    EXPECT_THAT(refusal([&] { manager().createDocument(); }), HasSubstr(StaticValues::PARAM_MVT2()));
    EXPECT_EQ(pendingIds(), before);
    EXPECT_EQ(storedIds(), before);
    EXPECT_EQ(*currentDocument->load(), current);
}

TEST_F(Creation, TheVisitOfTheNewDocumentIsNoNewOneAnyMore) {
    endVisit();
    const auto document = manager().createDocument();

    EXPECT_EQ(currentSession().at(StaticValues::PARAM_VISIT_NEW()), Value("Y"));
    EXPECT_EQ(SessionManager::sharedInstance().getVisitNew(document->name(), /*isReadOnly=*/true), "N");
    manager().createDocument();
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_VISIT_NEW()), Value("N"));
}

/// Lets the visit end while its count is logged, in the middle of the creation.
class VisitEndsWhenCounted final : public platform::Log {
  public:
    explicit VisitEndsWhenCounted(std::function<void()> endVisit) : endVisit_(std::move(endVisit)) {}
    void platformLine(std::string_view) noexcept override {}
    void debugLine(std::string_view line) noexcept override {
        if (line.starts_with("DEBUG_HARVELSTONE_CONFIG_LTVT")) endVisit_();
    }

  private:
    std::function<void()> endVisit_;
};

TEST_F(Creation, TheVisitThatIsRecordedIsTheOneThatRunsAtTheEnd) {
    platform::Platform::current().log = std::make_shared<VisitEndsWhenCounted>([this] { endVisit(); });
    const auto document = manager().createDocument();

    EXPECT_FALSE(document->name().starts_with(sessionId()));
    EXPECT_EQ(SessionManager::sharedInstance().getVisitNew(document->name(), /*isReadOnly=*/true), "N");
}

TEST_F(Creation, ANewVisitCostsTwoCommitsOfTheComponentsOwn) {
    endVisit();
    const auto files = recordFiles();
    manager().loadDocument();

    const auto document = storedFilePath(pendingIds().back());
    const auto documentDb = storedFilePath(StaticValues::DOCUMENT_DB_NAME());
    EXPECT_EQ(std::ranges::count(files->committed, document), 1);
    EXPECT_EQ(std::ranges::count(files->committed, documentDb), 1);
    // The services may commit the session and the profile, once each.
    EXPECT_LE(files->committed.size(), 4U);
}

TEST_F(Creation, TheDocumentIsCommittedBeforeTheListThatNamesIt) {
    const auto files = recordFiles();
    manager().createDocument();

    EXPECT_LT(placeOf(*files, pendingIds().back()), placeOf(*files, StaticValues::DOCUMENT_DB_NAME()));
}

TEST_F(Creation, TheListIsCommittedBeforeTheVisitCountsAsRecorded) {
    endVisit();
    const auto files = recordFiles();
    manager().createDocument();

    EXPECT_LT(placeOf(*files, StaticValues::DOCUMENT_DB_NAME()), placeOf(*files, "BS_SESSION"));
}

TEST_F(Creation, TwoDocumentsOfOneMomentShareAnId) {
    const auto first = manager().createDocument();
    const auto second = manager().createDocument();

    EXPECT_EQ(first, second);
    EXPECT_THAT(pendingIds(), SizeIs(3));
    EXPECT_THAT(first->name(), EndsWith(".500000"));
}

// ---- Order on disk ----

TEST(CreationOnDisk, EachStepIsDurableBeforeTheNextBegins) {
    Machine machine("/home/documents");
    const auto disk = std::make_shared<MemoryFileSystem>(machine.clock, DiskImage{.folders = {"/home"}, .files = {}});
    machine.setFileSystem(disk);
    TestPlatform::setSyncPolicy(platform::SyncPolicy::powerLoss);
    auto& manager = DocumentManager::sharedInstance();
    SessionManager::sharedInstance().endVisit();
    machine.clock->advance(1);
    const auto before = disk->callCount();
    const auto id = manager.createDocument()->name();

    std::vector<std::string> steps;
    for (const auto& call : disk->calls())
        if (call.number > before && (call.name == "rename" || call.name == "syncFolder")) steps.push_back(call.text());
    EXPECT_THAT(steps, ElementsAre("rename " + id + ".Harvelstone", "syncFolder ", "rename DocumentDB.Harvelstone",
                                   "syncFolder ", "rename BS_SESSION.Harvelstone", "syncFolder "));
}

}  // namespace
}  // namespace harvelstone::testing
