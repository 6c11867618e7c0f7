#include "tests/session/SessionTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class StoredDefaults : public SessionTest {
  protected:
    Dictionary defaults() { return manager().putSessionDBDefault({}); }
    static void store(const std::string& ltvi, const std::string& udVt) {
        (*documentDB)->putString(StaticValues::PARAM_LTVI(), ltvi);
        (*documentDB)->putString(StaticValues::PARAM_UD_VT(), udVt);
    }
};

TEST_F(StoredDefaults, AreCopiedAsTheyAreStored) {
    (*documentDB)->putDouble(StaticValues::PARAM_LTVI(), 12);
    (*documentDB)->putInt(StaticValues::PARAM_UD_VT(), 4);

    EXPECT_EQ(defaults(), (Dictionary{{StaticValues::PARAM_LTVI(), 12.0}, {StaticValues::PARAM_UD_VT(), 4}}));
}

TEST_F(StoredDefaults, AreTheIntegerZeroWhenTheStoredOnesAreOfTheWrongType) {
    store("nonsense", "nonsense");

    EXPECT_EQ(defaults(), (Dictionary{{StaticValues::PARAM_LTVI(), 0}, {StaticValues::PARAM_UD_VT(), 0}}));
}

TEST_F(DocumentTest, StoredDefaultsAreTheIntegerZeroWhileNothingIsStored) {
    // A continued visit whose document DB map was lost: nothing is counted, so nothing is stored.
    manager();
    *documentDB = std::make_shared<NamedMap>("fresh");

    EXPECT_EQ(manager().putSessionDBDefault({}),
              (Dictionary{{StaticValues::PARAM_LTVI(), 0}, {StaticValues::PARAM_UD_VT(), 0}}));
}

TEST_F(StoredDefaults, ReplaceEarlierValuesAndKeepTheOtherKeys) {
    (*documentDB)->putInt(StaticValues::PARAM_UD_VT(), 4);
    const auto session = manager().putSessionDBDefault({{StaticValues::PARAM_UD_VT(), 1}, {"other", "kept"}});

    EXPECT_EQ(session.at(StaticValues::PARAM_UD_VT()), Value(4));
    EXPECT_EQ(session.at("other"), Value("kept"));
}

TEST_F(StoredDefaults, ReachTheCurrentDocumentByARefresh) {
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_UD_VT()), Value(1));
    (*documentDB)->putDouble(StaticValues::PARAM_LTVI(), 2.0);
    manager().updateUdVt();
    manager().updateDocument();

    EXPECT_EQ(currentSession().at(StaticValues::PARAM_LTVI()), Value(2.0));
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_UD_VT()), Value(2));
}

class SessionProfile : public SessionTest {
  protected:
    static void set(const Dictionary& values) { ProfileManager::sharedInstance().setProfile(values); }
};

TEST_F(SessionProfile, CopiesEveryProfileValue) {
    set({{"mbr", "m"},
         {"memberLvl", 3},
         {"memberCd", "gold"},
         {"gender", "F"},
         {"age", 41},
         {"uvp1", "1"},
         {"uvp2", "2"},
         {"uvp3", "3"},
         {"uvp4", "4"},
         {"uvp5", 5.5},
         {"userId", "u-1"},
         {"ltrvnc", 11},
         {"ltrvni", 12},
         {"udRvnc", 13}});
    ProfileManager::sharedInstance().putSessionStringData(StaticValues::PARAM_PDTK(), "token");

    EXPECT_EQ(manager().putSessionProfile({}), (Dictionary{{StaticValues::PARAM_MBR(), "m"},
                                                           {StaticValues::PARAM_MBR_LVL(), 3},
                                                           {StaticValues::PARAM_MBR_CD(), "gold"},
                                                           {StaticValues::PARAM_GENDER(), "F"},
                                                           {StaticValues::PARAM_AGE(), 41},
                                                           {StaticValues::PARAM_UVP1(), "1"},
                                                           {StaticValues::PARAM_UVP2(), "2"},
                                                           {StaticValues::PARAM_UVP3(), "3"},
                                                           {StaticValues::PARAM_UVP4(), "4"},
                                                           {StaticValues::PARAM_UVP5(), 5.5},
                                                           {StaticValues::PARAM_USER_ID(), "u-1"},
                                                           {StaticValues::PARAM_LTRVNC(), 11},
                                                           {StaticValues::PARAM_LTRVNI(), 12},
                                                           {StaticValues::PARAM_UD_RVNC(), 13},
                                                           {StaticValues::PARAM_PDTK(), "token"}}));
}

TEST_F(SessionProfile, TheThreeRevenueCountersAreIntegersOnAFreshInstallToo) {
    const auto session = manager().putSessionProfile({});

    EXPECT_EQ(session.at(StaticValues::PARAM_LTRVNC()), Value(0));
    EXPECT_EQ(session.at(StaticValues::PARAM_LTRVNI()), Value(0));
    EXPECT_EQ(session.at(StaticValues::PARAM_UD_RVNC()), Value(0));
}

struct ProfileValue {
    const char* name;
    const std::string& (*key)();
};

/// Those that can be missing, in the order of the section's keys.
constexpr ProfileValue profileValues[] = {
    {"mbr", &StaticValues::PARAM_MBR},         {"memberLvl", &StaticValues::PARAM_MBR_LVL},
    {"memberCd", &StaticValues::PARAM_MBR_CD}, {"gender", &StaticValues::PARAM_GENDER},
    {"age", &StaticValues::PARAM_AGE},         {"uvp1", &StaticValues::PARAM_UVP1},
    {"uvp2", &StaticValues::PARAM_UVP2},       {"uvp3", &StaticValues::PARAM_UVP3},
    {"uvp4", &StaticValues::PARAM_UVP4},       {"uvp5", &StaticValues::PARAM_UVP5},
    {"userId", &StaticValues::PARAM_USER_ID}};

TEST_F(SessionProfile, EveryMissingValueIsRefusedByItsKey) {
    for (const auto& [name, key] : profileValues) {
        SCOPED_TRACE(name);
        set({{name, nullptr}});
        EXPECT_THAT(refusal([&] { manager().putSessionProfile({}); }), HasSubstr("\"" + key() + "\""));
        set({{name, "x"}});
    }
}

TEST_F(SessionProfile, TheFirstMissingValueInTheOrderOfTheKeysIsRefused) {
    for (const auto& one : profileValues) set({{one.name, nullptr}});
    ProfileManager::sharedInstance().putSessionData(StaticValues::PARAM_PDTK(), nullptr);

    for (const auto& [name, key] : profileValues) {
        SCOPED_TRACE(name);
        EXPECT_THAT(refusal([&] { manager().putSessionProfile({}); }), HasSubstr("\"" + key() + "\""));
        set({{name, "x"}});
    }
    EXPECT_THAT(refusal([&] { manager().putSessionProfile({}); }), HasSubstr(StaticValues::PARAM_PDTK()));
}

TEST_F(SessionProfile, AMissingPushTokenIsRefused) {
    ProfileManager::sharedInstance().putSessionData(StaticValues::PARAM_PDTK(), nullptr);

    EXPECT_THAT(refusal([&] { manager().putSessionProfile({}); }), HasSubstr(StaticValues::PARAM_PDTK()));
}

class InitData : public SessionTest {
  protected:
    static void put(const std::string& key, const Value& value) {
        ProfileManager::sharedInstance().putSessionData(key, value);
    }
};

TEST_F(InitData, CopiesTheThreeTestVariants) {
    put(StaticValues::PARAM_MVT1(), "a");
    put(StaticValues::PARAM_MVT2(), "b");
    put(StaticValues::PARAM_MVT3(), 3);

    EXPECT_EQ(manager().putSessionInitData({}), (Dictionary{{StaticValues::PARAM_MVT1(), "a"},
                                                            {StaticValues::PARAM_MVT2(), "b"},
                                                            {StaticValues::PARAM_MVT3(), 3}}));
}

TEST_F(InitData, AMissingVariantIsRefusedByItsKey) {
    for (const auto* key : {&StaticValues::PARAM_MVT1(), &StaticValues::PARAM_MVT2(), &StaticValues::PARAM_MVT3()}) {
        put(*key, nullptr);
        EXPECT_THAT(refusal([&] { manager().putSessionInitData({}); }), HasSubstr(*key));
        put(*key, "x");
    }
}

TEST_F(InitData, TheFirstMissingVariantIsRefused) {
    const auto keys = {StaticValues::PARAM_MVT1(), StaticValues::PARAM_MVT2(), StaticValues::PARAM_MVT3()};
    for (const auto& key : keys) put(key, nullptr);

    for (const auto& key : keys) {
        EXPECT_THAT(refusal([&] { manager().putSessionInitData({}); }), HasSubstr(key));
        put(key, "x");
    }
}

TEST_F(InitData, StaysAsItWasAtCreationWhenTheDocumentIsRefreshed) {
    put(StaticValues::PARAM_MVT1(), "later");
    manager().updateDocument();
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_MVT1()), Value(""));

    manager().createDocument();
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_MVT1()), Value("later"));
}

}  // namespace
}  // namespace harvelstone::testing
