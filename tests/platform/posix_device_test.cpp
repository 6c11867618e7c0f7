#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <set>
#include <string>
#include <sys/utsname.h>
#include <unistd.h>
#include <vector>

#include "harvelstone/platform/Device.hpp"
#include "harvelstone/platform/network_interfaces.hpp"

#include "tests/support/TestPlatform.hpp"

namespace harvelstone::testing {
namespace {

using platform::connectionTypeOf;
using platform::NetworkInterface;
using ::testing::ElementsAre;

class DocumentsFolder : public ::testing::Test {
  protected:
    DocumentsFolder() {
        unsetenv("XDG_DOCUMENTS_DIR");
        unsetenv("XDG_CONFIG_HOME");
        setenv("HOME", home_.path().c_str(), 1);
    }
    void writeUserDirs(const std::string& text, const std::string& folder = "/.config") const {
        std::filesystem::create_directories(home_.path() + folder);
        std::ofstream(home_.path() + folder + "/user-dirs.dirs") << text;
    }
    static std::string found() {
        const auto folders = platform::PosixDevice().documentsDirectories();
        return folders.empty() ? "" : folders.front();
    }
    std::string inHome(const std::string& name) const { return home_.path() + name; }

    TemporaryFolder home_;
};

TEST_F(DocumentsFolder, LiesInTheHomeFolderUnlessTheUserSaysOtherwise) { EXPECT_EQ(found(), inHome("/Documents")); }

TEST_F(DocumentsFolder, IsTheOneThatTheEnvironmentNames) {
    setenv("XDG_DOCUMENTS_DIR", "/srv/documents//", 1);
    writeUserDirs("XDG_DOCUMENTS_DIR=\"/elsewhere\"\n");
    EXPECT_EQ(found(), "/srv/documents");
}

TEST_F(DocumentsFolder, IsNotTakenFromARelativePath) {
    setenv("XDG_DOCUMENTS_DIR", "documents", 1);
    EXPECT_EQ(found(), inHome("/Documents"));
}

TEST_F(DocumentsFolder, IsTheOneOfTheUsersSettings) {
    writeUserDirs("# comment\nXDG_MUSIC_DIR=\"$HOME/Music\"\n  XDG_DOCUMENTS_DIR=\"$HOME/Papers/\"\n");
    EXPECT_EQ(found(), inHome("/Papers"));
}

TEST_F(DocumentsFolder, MayBeAbsoluteInTheUsersSettings) {
    writeUserDirs("XDG_DOCUMENTS_DIR=\"/srv/papers\"\n");
    EXPECT_EQ(found(), "/srv/papers");
}

TEST_F(DocumentsFolder, FollowsTheFolderOfSettings) {
    setenv("XDG_CONFIG_HOME", inHome("/settings").c_str(), 1);
    writeUserDirs("XDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n", "/settings");
    writeUserDirs("XDG_DOCUMENTS_DIR=\"$HOME/Wrong\"\n");
    EXPECT_EQ(found(), inHome("/Papers"));
}

TEST_F(DocumentsFolder, PassesOverSettingsThatMakeNoSense) {
    for (const char* line : {"XDG_DOCUMENTS_DIR=\"papers\"", "XDG_DOCUMENTS_DIR=$HOME/Papers", "XDG_DOCUMENTS_DIR=\"",
                             "XDG_DOCUMENTS_DIR=\"$HOMEWARD/x\"", "#XDG_DOCUMENTS_DIR=\"$HOME/Papers\""}) {
        writeUserDirs(line);
        EXPECT_EQ(found(), inHome("/Documents")) << line;
    }
}

TEST_F(DocumentsFolder, LiesInTheAccountsHomeWithoutAnEnvironment) {
    unsetenv("HOME");
    const std::string account = getpwuid(geteuid())->pw_dir;
    EXPECT_THAT(found(), ::testing::StartsWith(account == "/" ? "/" : account + "/"));
}

class LocaleOfDevice : public ::testing::Test {
  protected:
    LocaleOfDevice() {
        for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) unsetenv(name);
    }
    static std::string place() {
        const platform::PosixDevice device;
        return device.language() + "/" + device.country();
    }
};

TEST_F(LocaleOfDevice, IsEnglishOfNoCountryWhenUnknown) {
    EXPECT_EQ(place(), "en/");
    for (const char* name : {"C", "POSIX", "C.UTF-8", "", "_GB", "english", "d3_DE"}) {
        setenv("LANG", name, 1);
        EXPECT_EQ(place(), "en/") << name;
    }
}

TEST_F(LocaleOfDevice, IsReadFromTheLocalesName) {
    struct Row {
        const char* name;
        const char* place;
    };
    for (const auto& row : {Row{"de_DE.UTF-8", "de/DE"}, Row{"pt_BR@euro", "pt/BR"}, Row{"ko", "ko/"},
                            Row{"fil_PH", "fil/PH"}, Row{"es_419", "es/"}}) {
        setenv("LANG", row.name, 1);
        EXPECT_EQ(place(), row.place) << row.name;
    }
}

TEST_F(LocaleOfDevice, TakesTheStrongestVariableThatIsSet) {
    setenv("LANG", "de_DE", 1);
    setenv("LC_MESSAGES", "fr_FR", 1);
    EXPECT_EQ(place(), "fr/FR");
    setenv("LC_ALL", "ja_JP", 1);
    EXPECT_EQ(place(), "ja/JP");
    setenv("LC_ALL", "", 1);
    EXPECT_EQ(place(), "fr/FR");
}

TEST(Device, GivesAFreshUuidEachTime) {
    const platform::PosixDevice device;
    std::set<std::string> texts;
    for (int i = 0; i < 1000; ++i) {
        const auto text = device.uuidText();
        EXPECT_THAT(text,
                    ::testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), 1000U);
}

TEST(Device, IsIdentifiedByTheProgramsName) {
    EXPECT_EQ(platform::PosixDevice().bundleIdentifier(),
              std::filesystem::read_symlink("/proc/self/exe").filename().string());
}

TEST(Device, TellsItsSystemAndHardware) {
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    const platform::PosixDevice device;
    EXPECT_EQ(device.operatingSystem(), std::string(system.sysname) + " " + system.release);
    EXPECT_EQ(device.machine(), system.machine);
}

TEST(Device, IsConnectedByTheTypeThatItTells) {
    const platform::PosixDevice device;
    EXPECT_THAT(device.connectionType(), ::testing::AnyOf("wifi", "ethernet", "cellular", "none"));
    EXPECT_EQ(device.isConnectedToNetwork(), device.connectionType() != "none");
}

NetworkInterface working(std::string name) {
    return {.name = std::move(name), .isUp = true, .isRunning = true, .isLoopback = false, .isReachable = true};
}

TEST(ConnectionType, ComesFromTheInterfacesName) {
    struct Row {
        const char* name;
        const char* type;
    };
    for (const auto& row : {Row{"wlan0", "wifi"}, Row{"wlp3s0", "wifi"}, Row{"eth0", "ethernet"},
                            Row{"enp0s31f6", "ethernet"}, Row{"wwan0", "cellular"}, Row{"wwp0s20u4", "cellular"},
                            Row{"rmnet_data0", "cellular"}, Row{"ppp0", "cellular"}}) {
        EXPECT_EQ(connectionTypeOf({working(row.name)}), row.type) << row.name;
    }
}

TEST(ConnectionType, IsTheBestOfSeveral) {
    EXPECT_EQ(connectionTypeOf({working("wwan0"), working("eth0"), working("wlan0")}), "wifi");
    EXPECT_EQ(connectionTypeOf({working("wwan0"), working("eth0")}), "ethernet");
}

TEST(ConnectionType, IsNoneWithoutAWorkingInterface) {
    auto down = working("eth0");
    down.isUp = false;
    auto unplugged = working("eth0");
    unplugged.isRunning = false;
    auto loopback = working("lo");
    loopback.isLoopback = true;
    auto withoutAddress = working("wlan0");
    withoutAddress.isReachable = false;

    EXPECT_EQ(connectionTypeOf({}), "none");
    EXPECT_EQ(connectionTypeOf({down, unplugged, loopback, withoutAddress}), "none");
    EXPECT_EQ(connectionTypeOf({down, working("wwan0")}), "cellular");
}

TEST(NetworkInterfaces, HoldTheLoopbackOfThisDevice) {
    const auto interfaces = platform::networkInterfaces();
    EXPECT_THAT(interfaces, ::testing::Contains(::testing::Field(&NetworkInterface::isLoopback, true)));
}

}  // namespace
}  // namespace harvelstone::testing
