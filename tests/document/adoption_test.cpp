// What an app finds of the children that it made with fork, or an earlier life of it did.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include "harvelstone/document/current_ledger.hpp"
#include "harvelstone/document/document_names.hpp"
#include "harvelstone/platform/FolderClaim.hpp"
#include "harvelstone/services/QueueFile.hpp"
#include "harvelstone/services/TinyMap.hpp"

#include "tests/support/DocumentTest.hpp"
#include "tests/support/FaultyFileSystem.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

class Adoption : public ::testing::Test {
  protected:
    /// A life of an app whose child records a click and ends.
    void leaveChildBehind() const {
        life([this] {
            const Machine machine(documents_.path());
            DocumentManager::sharedInstance();
            const auto child = fork();
            if (child == 0) {
                machine.clock->advance(1);
                QueueFile(queueOf(DocumentManager::sharedInstance().getLaistDocId())).add({{"button", "child"}});
                _exit(0);
            }
            waitpid(child, nullptr, 0);
        });
        EXPECT_THAT(forkedFolders(), SizeIs(1));
    }

    /// The next life, over the disk given, or the one after that.
    void startAgain(std::shared_ptr<FaultyFileSystem> disk = nullptr) const {
        Machine machine(documents_.path());
        machine.clock->advance(disk ? 60 : 120);
        if (disk) machine.setFileSystem(std::move(disk));
        DocumentManager::sharedInstance();
    }

    /// To be called in a life: the child's document and its click are there once, and all is accounted for.
    void expectEverythingOnce(std::size_t documents) const {
        const auto ids = pendingIds();
        EXPECT_THAT(ids, SizeIs(documents));
        EXPECT_EQ(std::set(ids.begin(), ids.end()).size(), ids.size());
        EXPECT_EQ(storedIds(), ids);
        std::size_t clicks = 0;
        for (const auto& id : ids) {
            EXPECT_TRUE(TinyMap::sharedInstance().get(id)->has(TrackType::TYPE_SESSION().typeValue())) << id;
            while (QueueFile(queueOf(id)).pop()) ++clicks;
        }
        EXPECT_EQ(clicks, 1U);
        EXPECT_THAT(forkedFolders(), IsEmpty());
        EXPECT_EQ(currentLedger().documents.created, documents);
    }

    static void retireAll() {
        while (!documetNameList->load()->empty())
            documetNameList->update([](const DocumentNames& names) { return names.withoutFirst(Fate::sent); });
        storeDocumentNames();
    }

    std::vector<std::filesystem::path> forkedFolders() const {
        std::vector<std::filesystem::path> folders;
        for (const auto& entry : std::filesystem::directory_iterator(documents_.path() + "/harvelstone"))
            if (entry.is_directory()) folders.push_back(entry.path());
        return folders;
    }

    static std::string queueOf(const std::string& id) { return StaticValues::CLICK_FILE_PREFIX() + id; }

    /// Has the start after a child go wrong at each of its calls to the disk in turn, and looks at what the next start
    /// finds.
    template <typename StartGoneWrong>
    void forEachCall(StartGoneWrong startGoneWrong) const {
        leaveChildBehind();
        life([this] {
            const auto disk = std::make_shared<FaultyFileSystem>();
            startAgain(disk);
            std::ofstream(documents_.path() + "/calls") << disk->calls().size();
        });
        std::size_t callCount = 0;
        std::ifstream(documents_.path() + "/calls") >> callCount;
        EXPECT_GT(callCount, 20U);
        for (std::size_t point = 1; point <= callCount; ++point) {
            SCOPED_TRACE("at call " + std::to_string(point));
            std::filesystem::remove_all(documents_.path() + "/harvelstone");
            leaveChildBehind();
            startGoneWrong(point);
            life([this] {
                startAgain();
                EXPECT_GE(pendingIds().size(), 3U);
                expectEverythingOnce(pendingIds().size());
            });
        }
        std::cout << callCount << " calls\n";
    }

    const TemporaryFolder documents_;
};

TEST_F(Adoption, TakesOverWhatAnEndedChildLeft) {
    leaveChildBehind();
    life([this] {
        startAgain();
        expectEverythingOnce(3);
        EXPECT_LT(pendingIds().at(0), pendingIds().at(1)) << "the child's comes behind its parent's";
    });
}

TEST_F(Adoption, LeavesAFolderWhosePendingListIsDamaged) {
    leaveChildBehind();
    std::ofstream(forkedFolders().front() / "DocumentDB.Harvelstone") << "no map";
    life([this] {
        startAgain();
        EXPECT_THAT(pendingIds(), SizeIs(2));
        EXPECT_THAT(forkedFolders(), SizeIs(1));
    });
}

TEST_F(Adoption, OfAFolderThatCannotBeDeletedHappensOnce) {
    leaveChildBehind();
    life([this] {
        const auto disk = std::make_shared<FaultyFileSystem>();
        disk->failEvery("remove", std::errc::io_error);
        startAgain(disk);
        EXPECT_THAT(pendingIds(), SizeIs(3));
        retireAll();
        DocumentManager::sharedInstance().createDocument();
        EXPECT_THAT(pendingIds(), SizeIs(1));
        EXPECT_THAT(forkedFolders(), SizeIs(1));
    });
    life([this] {
        startAgain();
        EXPECT_THAT(pendingIds(), SizeIs(2));
        EXPECT_THAT(forkedFolders(), IsEmpty());
        EXPECT_EQ(currentLedger().documents.created, 5U);
        EXPECT_THAT(documetNameList->load()->account().adoptedFolders, SizeIs(1));
        DocumentManager::sharedInstance().createDocument();
        EXPECT_THAT(documetNameList->load()->account().adoptedFolders, IsEmpty()) << "what has gone is forgotten";
    });
}

TEST_F(Adoption, DoesNotFollowALink) {
    const TemporaryFolder elsewhere;
    life([&] {
        const Machine machine(elsewhere.path());
        DocumentManager::sharedInstance();
    });
    life([this] { startAgain(); });
    std::filesystem::create_directory_symlink(elsewhere.path() + "/harvelstone",
                                              documents_.path() + "/harvelstone/forked-1");
    life([this] {
        startAgain();
        EXPECT_THAT(pendingIds(), SizeIs(2));
    });
    EXPECT_TRUE(std::filesystem::exists(elsewhere.path() + "/harvelstone/DocumentDB.Harvelstone"));
}

TEST_F(Adoption, LooksOnceForFoldersWhereNoChildCanBe) {
    life([this] { startAgain(); });
    life([this] {
        const auto disk = std::make_shared<FaultyFileSystem>();
        startAgain(disk);
        disk->clear();
        DocumentManager::sharedInstance().createDocument();
        EXPECT_EQ(disk->count("list"), 0U);
    });
}

TEST_F(Adoption, LooksAgainOnceTheProcessHasForked) {
    life([this] {
        const Machine machine(documents_.path());
        DocumentManager::sharedInstance();
        machine.clock->advance(1);
        DocumentManager::sharedInstance().createDocument();
        const auto child = fork();
        if (child == 0) {
            machine.clock->advance(1);
            DocumentManager::sharedInstance();
            _exit(0);
        }
        waitpid(child, nullptr, 0);
        EXPECT_THAT(forkedFolders(), SizeIs(1));
        machine.clock->advance(2);
        DocumentManager::sharedInstance().createDocument();
        EXPECT_THAT(forkedFolders(), IsEmpty());
        EXPECT_THAT(pendingIds(), SizeIs(4));
    });
}

TEST_F(Adoption, LooksAgainWhereAnEarlierLifesChildStillRuns) {
    leaveChildBehind();
    life([this] {
        auto claim = platform::FolderClaim::of(forkedFolders().front().string() + "/");
        ASSERT_TRUE(claim);
        Machine machine(documents_.path());
        machine.clock->advance(60);
        DocumentManager::sharedInstance();
        EXPECT_THAT(pendingIds(), SizeIs(2));
        claim.reset();
        machine.clock->advance(1);
        DocumentManager::sharedInstance().createDocument();
        EXPECT_THAT(pendingIds(), SizeIs(4));
        EXPECT_THAT(forkedFolders(), IsEmpty());
    });
}

TEST_F(Adoption, KilledAnywhereLosesAndDoublesNothing) {
    forEachCall([this](std::size_t point) {
        lifeUntilKilled([&] {
            const auto disk = std::make_shared<FaultyFileSystem>();
            disk->beforeCall = [point](std::size_t call) {
                if (call == point) dieHere();
            };
            startAgain(disk);
        });
    });
}

TEST_F(Adoption, WithAnyCallFailingIsMadeGoodByTheNextStart) {
    forEachCall([this](std::size_t point) {
        life([&] {
            const auto disk = std::make_shared<FaultyFileSystem>();
            disk->failCall(point, std::errc::io_error);
            startAgain(disk);
            EXPECT_TRUE(disk->hasFailed());
        });
    });
}

}  // namespace
}  // namespace harvelstone::testing
