#include <filesystem>

#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/HarvelstonePostback.hpp"
#include "harvelstone/services/ProfileManager.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/SessionManager.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/DocumentTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Registry : public DocumentTest {
  protected:
    Registry() {
        manager();
        first = pendingIds().front();
        machine.clock->advance(1);
    }

    static std::string currentId() { return (*currentDocument->load())->name(); }

    std::string first;
};

TEST_F(Registry, AVisitThatGoesOnKeepsTheNewestDocument) {
    currentDocument->store(TinyMap::sharedInstance().get("another"));
    manager().loadDocument();

    EXPECT_THAT(pendingIds(), ElementsAre(first));
    EXPECT_EQ(currentId(), first);
}

TEST_F(Registry, ANewVisitAppendsANewDocumentAndMakesItCurrent) {
    endVisit();
    manager().loadDocument();

    ASSERT_THAT(pendingIds(), SizeIs(2));
    EXPECT_EQ(pendingIds()[0], first);
    EXPECT_EQ(currentId(), pendingIds()[1]);
    EXPECT_EQ(idsOnDisk(machine), pendingIds());
}

TEST_F(Registry, AnEmptyListGetsANewDocumentThoughTheVisitGoesOn) {
    documetNameList->store(DocumentNames());
    manager().loadDocument();

    ASSERT_THAT(pendingIds(), SizeIs(1));
    EXPECT_NE(pendingIds().front(), first);
    EXPECT_EQ(currentId(), pendingIds().front());
}

TEST_F(Registry, StartSessionDoesWhatLoadDocumentDoes) {
    manager().startSession();
    EXPECT_THAT(pendingIds(), ElementsAre(first));

    endVisit();
    manager().startSession();
    EXPECT_THAT(pendingIds(), SizeIs(2));
    EXPECT_EQ(currentId(), pendingIds().back());
}

TEST_F(Registry, AskingForTheVisitCountsAsActivity) {
    machine.clock->advance(20.0 * 60);
    manager().loadDocument();
    machine.clock->advance(20.0 * 60);
    manager().loadDocument();

    EXPECT_THAT(pendingIds(), ElementsAre(first));
}

TEST_F(Registry, ARefreshCopiesTheLatestProfileAndAttribution) {
    ProfileManager::sharedInstance().setProfile({{"mbr", "m-7"}});
    manager().putInstallData({{StaticValues::PARAM_UTM_SOURCE(), "mail"}});
    const auto refreshed = manager().updateDocument();

    EXPECT_EQ(refreshed, *currentDocument->load());
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_MBR()), Value("m-7"));
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_UTM_SOURCE()), Value("mail"));
}

TEST_F(Registry, ARefreshCopiesThePostbackData) {
    HarvelstonePostback::sharedInstance().setPostbackReferrer("utm=1");
    manager().updateDocument();

    const auto postback = section(**currentDocument->load(), TrackType::TYPE_POSTBACK());
    EXPECT_EQ(postback, HarvelstonePostback::sharedInstance().getPostbackJosn());
    EXPECT_THAT(postback, SizeIs(1));
}

TEST_F(Registry, ARefreshLeavesConfigurationDefaultsInitDataAndCreationTime) {
    const auto before = currentSession();
    SessionManager::sharedInstance().configure({{"ak", "another"}});
    ProfileManager::sharedInstance().putSessionStringData(StaticValues::PARAM_MVT1(), "variant");
    endVisit();
    manager().updateDocument();

    EXPECT_EQ(currentSession(), before);
    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_LTVT()), Value(1));
}

TEST_F(Registry, ARefreshIsOnDiskWhenItReturnsInOneCommitOfTheDocument) {
    ProfileManager::sharedInstance().setProfile({{"mbr", "m-7"}});
    const auto files = recordFiles();
    manager().updateDocument();

    EXPECT_THAT(files->committed, ElementsAre(storedFilePath(first)));
    EXPECT_EQ(fileOfMap(machine, first).at(TrackType::TYPE_SESSION().toString()).at(StaticValues::PARAM_MBR()), "m-7");
}

TEST_F(Registry, ARefreshThatMeetsAMissingValueRaisesAndChangesNothing) {
    const auto before = (*currentDocument->load())->jsonString();
    ProfileManager::sharedInstance().setProfile({{"mbr", "m-7"}, {"gender", nullptr}});

    EXPECT_THAT(refusal([&] { manager().updateDocument(); }), HasSubstr(StaticValues::PARAM_GENDER()));
    EXPECT_EQ((*currentDocument->load())->jsonString(), before);
}

TEST_F(Registry, ARefreshTakesTheProfileBeforeTheAttribution) {
    auto& profile = ProfileManager::sharedInstance();
    profile.setProfile({{"userId", nullptr}});
    profile.putSessionData(StaticValues::PARAM_MAT_SOURCE(), nullptr);

    EXPECT_THAT(refusal([&] { manager().updateDocument(); }), HasSubstr(StaticValues::PARAM_USER_ID()));
    profile.setProfile({{"userId", "u"}});
    EXPECT_THAT(refusal([&] { manager().updateDocument(); }), HasSubstr(StaticValues::PARAM_MAT_SOURCE()));
}

TEST_F(Registry, TheNewestStoredIdIsReadFromTheStore) {
    documetNameList->store(DocumentNames({"only-in-memory"}));
    EXPECT_EQ(manager().getLastDocumentID(), first);

    (*documentDB)->putMutableArray(pendingKey, {"a", "b"});
    EXPECT_EQ(manager().getLastDocumentID(), "b");
}

TEST_F(Registry, WithoutAStoredIdTheNewestIsTheEmptyText) {
    (*documentDB)->putMutableArray(pendingKey, {});
    EXPECT_EQ(manager().getLastDocumentID(), "");

    (*documentDB)->putString(pendingKey, "no list");
    EXPECT_EQ(manager().getLastDocumentID(), "");
}

TEST_F(Registry, TheNewestIdInMemoryIsTheLastOfTheList) {
    documetNameList->store(DocumentNames({"a", "b"}));
    EXPECT_EQ(manager().getLaistDocId(), "b");
    documetNameList->store(DocumentNames({"a", "b", "c"}).withoutFirst(Fate::sent).withoutFirst(Fate::sent));
    EXPECT_EQ(manager().getLaistDocId(), "c");
}

TEST_F(Registry, TheNewestIdOfAnEmptyListRaises) {
    documetNameList->store(DocumentNames());
    EXPECT_THROW(manager().getLaistDocId(), platform::RangeException);
}

TEST_F(Registry, AQueueIsReadOnceInTheOrderOfAdding) {
    QueueFile(StaticValues::CLICK_FILE_PREFIX() + first).add({{"n", 1}});
    QueueFile(StaticValues::CLICK_FILE_PREFIX() + first).add({{"n", 2}});

    EXPECT_EQ(manager().getQueue(StaticValues::CLICK_FILE_PREFIX(), first),
              (List{Dictionary{{"n", 1}}, Dictionary{{"n", 2}}}));
    EXPECT_THAT(manager().getQueue(StaticValues::CLICK_FILE_PREFIX(), first), IsEmpty());
}

TEST_F(Registry, AQueueOfAnotherPrefixOrDocumentIsNotTouched) {
    QueueFile(StaticValues::CLICK_FILE_PREFIX() + first).add({{"n", 1}});

    EXPECT_THAT(manager().getQueue(StaticValues::GOAL_FILE_PREFIX(), first), IsEmpty());
    EXPECT_THAT(manager().getQueue(StaticValues::CLICK_FILE_PREFIX(), "other"), IsEmpty());
    EXPECT_THAT(manager().getQueue(StaticValues::CLICK_FILE_PREFIX(), first), SizeIs(1));
}

TEST(Restart, AReadQueueIsEmptyForTheNextLifeToo) {
    TemporaryFolder folder;
    life([&] {
        const Machine app(folder.path());
        QueueFile("click_S1").add({{"n", 1}});
        EXPECT_THAT(DocumentManager::sharedInstance().getQueue("click_", "S1"), SizeIs(1));
    });
    life([&] {
        const Machine app(folder.path());
        EXPECT_THAT(DocumentManager::sharedInstance().getQueue("click_", "S1"), IsEmpty());
    });
}

class CurrentFiles : public Registry {
  protected:
    CurrentFiles() { machine.log->clear(); }
};

TEST_F(CurrentFiles, AreCountedInTheLogWhileTheLockStateIsOn) {
    HarvelstoneCore::setFlagSdkLockState(true);
    machine.writeFile("somebody-elses.txt", "x");
    manager().printCurrentFiles();

    const auto count = std::to_string(machine.storedFiles().size());
    EXPECT_THAT(machine.log->lines(), ElementsAre("CURRENT_DOCUMENT, remains file count is : " + count));
}

TEST_F(CurrentFiles, AreNotMentionedWhileTheLockStateIsOff) {
    manager().printCurrentFiles();
    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(CurrentFiles, AreNotMentionedWhenThereIsNone) {
    HarvelstoneCore::setFlagSdkLockState(true);
    for (const auto& file : std::filesystem::directory_iterator(machine.folder)) std::filesystem::remove(file);
    manager().printCurrentFiles();
    std::filesystem::remove(machine.folder);
    manager().printCurrentFiles();

    EXPECT_THAT(machine.log->lines(), IsEmpty());
}

TEST_F(Registry, PageViewsAreThoseOfTheCurrentSession) {
    EXPECT_EQ(manager().getCsPV(), 0);
    manager().addCsPV();
    manager().addCsPV();
    EXPECT_EQ(manager().getCsPV(), 2);
    EXPECT_EQ(SessionManager::sharedInstance().getCsPV(SessionManager::sharedInstance().getSid(1)), 2);

    endVisit();
    EXPECT_EQ(manager().getCsPV(), 0);
}

}  // namespace
}  // namespace harvelstone::testing
