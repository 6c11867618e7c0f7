#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/services/StorageTest.hpp"

/// What stands in the storage folder under our names and is not ours.
namespace harvelstone::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class HostileFolder : public StorageTest {
  protected:
    HostileFolder() {
        fs::create_directories(machine.folder);
        fs::create_directories(outside() + "/folder");
        std::ofstream(outside() + "/file") << "kept";
    }

    /// What no store may touch.
    std::string outside() const { return machine.documents + "/outside"; }
    std::string path(const std::string& file) const { return machine.folder + file; }
    void expectOutsideUntouched() const {
        std::string text;
        std::ifstream(outside() + "/file") >> text;
        EXPECT_EQ(text, "kept");
        EXPECT_TRUE(fs::is_empty(outside() + "/folder"));
        EXPECT_EQ(std::distance(fs::directory_iterator(outside()), {}), 2);
    }

    struct Intruder {
        std::string what;
        std::function<void(const std::string& path)> place;
    };
    std::vector<Intruder> intruders() const {
        std::vector<Intruder> all{
            {"a link to a file", [this](auto& path) { fs::create_symlink(outside() + "/file", path); }},
            {"a link to a folder", [this](auto& path) { fs::create_symlink(outside() + "/folder", path); }},
            {"a link that leads nowhere", [this](auto& path) { fs::create_symlink(outside() + "/none", path); }},
            {"a link to itself", [](auto& path) { fs::create_symlink(path, path); }},
            {"a folder",
             [](auto& path) {
                 fs::create_directory(path);
                 std::ofstream(path + "/inner") << "x";
             }},
            {"a pipe", [](auto& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); }},
            {"a socket", &listenAt},
        };
        const auto trial = machine.documents + "/trial";
        if (makeDevice(trial) && std::ifstream(trial).is_open())
            all.push_back({"a device", [](auto& path) { ASSERT_TRUE(makeDevice(path)); }});
        return all;
    }

    /// One row after another: each on a name of its own, nothing outside touched.
    void forEachIntruder(const std::function<void(const Intruder&, const std::string& name)>& check) {
        int number = 0;
        for (const auto& intruder : intruders()) {
            SCOPED_TRACE(intruder.what);
            machine.log->clear();
            check(intruder, "n" + std::to_string(++number));
            expectOutsideUntouched();
        }
    }
    std::string setAsideLine(const std::string& name) const {
        return name + ".Harvelstone is no file, set aside as " + name + ".corrupt-1479259200.Harvelstone";
    }
    bool isFile(const std::string& name) const {
        return fs::is_regular_file(fs::symlink_status(path(name + ".Harvelstone")));
    }

  private:
    /// Like /dev/null, which takes everything and gives nothing. Not everybody may make one, nor open it everywhere.
    static bool makeDevice(const std::string& path) { return mknod(path.c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0; }

    static void listenAt(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        ASSERT_LT(path.size(), sizeof address.sun_path);
        path.copy(address.sun_path, path.size());
        const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(listener);
    }
};

TEST_F(HostileFolder, InPlaceOfAMapIsSetAsideAndTheMapWorks) {
    forEachIntruder([&](const Intruder& intruder, const std::string& name) {
        intruder.place(path(name + ".Harvelstone"));
        EXPECT_EQ(map(name)->get("number"), std::nullopt);
        map(name)->putInt("number", 1);
        EXPECT_EQ(machine.readFile(name + ".Harvelstone"), "{\"number\":1}");
        EXPECT_TRUE(isFile(name));
        EXPECT_THAT(storeLines(), ElementsAre(setAsideLine(name)));
    });
}

TEST_F(HostileFolder, InPlaceOfAMapThatIsInUseIsReplacedOrSetAside) {
    forEachIntruder([&](const Intruder& intruder, const std::string& name) {
        map(name)->putInt("number", 1);
        fs::remove(path(name + ".Harvelstone"));
        intruder.place(path(name + ".Harvelstone"));
        map(name)->putInt("number", 2);
        EXPECT_TRUE(isFile(name));
        EXPECT_EQ(machine.readFile(name + ".Harvelstone"), "{\"number\":2}");
    });
}

TEST_F(HostileFolder, InPlaceOfATemporaryFileIsRemovedAndNeverWrittenThrough) {
    forEachIntruder([&](const Intruder& intruder, const std::string& name) {
        intruder.place(temporaryFilePath(name));
        map(name)->putInt("number", 1);
        EXPECT_EQ(machine.readFile(name + ".Harvelstone"), "{\"number\":1}");
        EXPECT_FALSE(fs::exists(fs::symlink_status(temporaryFilePath(name))));
        EXPECT_THAT(storeLines(), IsEmpty());
    });
}

TEST_F(HostileFolder, AHardLinkInPlaceOfATemporaryFileIsRemovedAndNeverWrittenThrough) {
    fs::create_hard_link(outside() + "/file", temporaryFilePath("A"));
    map("A")->putInt("number", 1);
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"number\":1}");
    EXPECT_EQ(fs::hard_link_count(outside() + "/file"), 1U);
    expectOutsideUntouched();
}

TEST_F(HostileFolder, InPlaceOfAQueueIsSetAsideByAnAdd) {
    forEachIntruder([&](const Intruder& intruder, const std::string& name) {
        intruder.place(path(name + ".Harvelstone"));
        add(name, 1);
        EXPECT_TRUE(isFile(name));
        EXPECT_THAT(storeLines(), ElementsAre(setAsideLine(name)));
        EXPECT_THAT(drain(name), ElementsAre(1));
    });
}

TEST_F(HostileFolder, InPlaceOfAQueueIsSetAsideByAPop) {
    forEachIntruder([&](const Intruder& intruder, const std::string& name) {
        intruder.place(path(name + ".Harvelstone"));
        EXPECT_EQ(popNumber(name), -1);
        EXPECT_THAT(storeLines(), ElementsAre(setAsideLine(name)));
    });
}

TEST_F(HostileFolder, InPlaceOfAQueueThatIsBeingReadIsSetAsideByTheNextAdd) {
    forEachIntruder([&](const Intruder& intruder, const std::string& name) {
        addAll(name, 1, 2);
        {
            const StorageBatch scope;
            EXPECT_EQ(popNumber(name), 1);
            fs::remove(path(name + ".Harvelstone"));
            intruder.place(path(name + ".Harvelstone"));
        }
        add(name, 3);
        EXPECT_TRUE(isFile(name));
        EXPECT_THAT(drain(name), ElementsAre(3)) << "what the file held went with it";
    });
}

TEST_F(HostileFolder, ThatIsItselfALinkWhichLeadsNowhereKeepsEverythingInMemoryUntilItLeadsSomewhere) {
    fs::remove_all(machine.folder);
    const auto elsewhere = machine.documents + "/elsewhere";
    fs::create_symlink(elsewhere, machine.documents + "/harvelstone");
    add("q", 1);
    map("A")->putInt("number", 1);
    EXPECT_THAT(storeLines(), ElementsAre(StartsWith("could not make the folder"),
                                          "could not write q.Harvelstone : No such file or directory",
                                          "could not write A.Harvelstone : No such file or directory"));
    fs::create_directory(elsewhere);
    map("A")->save();
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"number\":1}");
    EXPECT_THAT(drain("q"), ElementsAre(1));
}

TEST_F(HostileFolder, ThatIsAFileKeepsEverythingInMemory) {
    fs::remove_all(machine.folder);
    std::ofstream(machine.documents + "/harvelstone") << "x";
    add("q", 1);
    map("A")->putInt("number", 1);
    EXPECT_EQ(map("A")->get("number"), Value(1));
    EXPECT_THAT(drain("q"), ElementsAre(1));
    EXPECT_THAT(storeLines(),
                ElementsAre(StartsWith("could not make the folder"), "could not write q.Harvelstone : Not a directory",
                            "could not write A.Harvelstone : Not a directory"));
}

/// Root may do everything, so it tries as nobody.
class ForeignFolder : public HostileFolder {
  protected:
    ~ForeignFolder() override { becomeSelfAgain(); }

    /// From now on the folder and its files are somebody else's, with this mode.
    void giveAway(mode_t folderMode, mode_t fileMode) {
        for (const auto& entry : fs::directory_iterator(machine.folder))
            ASSERT_EQ(chmod(entry.path().c_str(), fileMode), 0);
        ASSERT_EQ(chmod(machine.folder.c_str(), folderMode), 0);
        ASSERT_EQ(chmod(machine.documents.c_str(), 0755), 0);
        if (isRoot_) {
            ASSERT_EQ(seteuid(nobody), 0);
        }
    }
    void becomeSelfAgain() {
        if (isRoot_) {
            EXPECT_EQ(seteuid(0), 0);
        }
        EXPECT_EQ(chmod(machine.folder.c_str(), 0700), 0);
        for (const auto& entry : fs::directory_iterator(machine.folder))
            EXPECT_EQ(chmod(entry.path().c_str(), 0600), 0);
    }

  private:
    static constexpr uid_t nobody = 65534;
    const bool isRoot_ = geteuid() == 0;
};

TEST_F(ForeignFolder, ThatMayNotBeEnteredKeepsEverythingInMemoryAndWritesItOnceItMay) {
    giveAway(0700 & (geteuid() == 0 ? 0777U : 0U), 0600);
    add("q", 1);
    map("A")->putInt("number", 1);
    EXPECT_EQ(map("A")->get("number"), Value(1));
    EXPECT_THAT(storeLines(), ElementsAre("could not write q.Harvelstone : Permission denied",
                                          "could not read A.Harvelstone : Permission denied"));
    becomeSelfAgain();
    map("A")->save();
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"number\":1}");
    EXPECT_THAT(drain("q"), ElementsAre(1));
}

TEST_F(ForeignFolder, ThatMayOnlyBeReadIsReadAndKeepsTheRestInMemory) {
    add("q", 1);
    map("A")->putInt("number", 1);
    machine.log->clear();
    giveAway(0555, 0444);
    map("A")->putInt("number", 2);
    add("q", 2);
    EXPECT_EQ(map("A")->get("number"), Value(2));
    EXPECT_EQ(popNumber("q"), -1) << "what cannot be consumed is not given";
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"number\":1}");
    EXPECT_THAT(storeLines(), ElementsAre("could not write A.Harvelstone : Permission denied",
                                          "could not write q.Harvelstone : Permission denied",
                                          "could not read q.Harvelstone : Permission denied"));
    becomeSelfAgain();
    map("A")->save();
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"number\":2}");
    EXPECT_THAT(drain("q"), ElementsAre(1, 2));
}

TEST_F(ForeignFolder, WithFilesThatMayNotBeReadNeverLosesWhatIsInThem) {
    life([] {
        add("q", 1);
        map("A")->putInt("old", 1);
    });
    giveAway(0777, geteuid() == 0 ? 0600 : 0000);
    map("A")->putInt("new", 2);
    add("q", 2);
    becomeSelfAgain();
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"old\":1}");
    map("A")->save();
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"new\":2,\"old\":1}");
    EXPECT_THAT(drain("q"), ElementsAre(1, 2));
}

TEST_F(ForeignFolder, ThatMayBeWrittenIsUsedAsOurs) {
    giveAway(0777, 0600);
    add("q", 1);
    map("A")->putInt("number", 1);
    EXPECT_EQ(machine.readFile("A.Harvelstone"), "{\"number\":1}");
    EXPECT_THAT(drain("q"), ElementsAre(1));
    EXPECT_THAT(storeLines(), IsEmpty());
}

}  // namespace
}  // namespace harvelstone::testing
