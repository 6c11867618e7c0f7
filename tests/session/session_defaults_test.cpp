#include "harvelstone/services/TinyMap.hpp"

#include "tests/session/SessionTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr const char* countLine = "DEBUG_HARVELSTONE_CONFIG_LTVT";

TEST_F(DocumentTest, TheFirstVisitEverIsCountedOnceAndUniqueInEveryPeriod) {
    manager();

    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_LTVT()), Value(1));
    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_LTVI()), Value(0.0));
    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_UD_VT()), Value(1));
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_IS_UNI_VT()), Value(3));
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_IS_WEEKELY_US()), Value("Y"));
}

TEST_F(DocumentTest, TheFirstVisitEverStartsTheWaitForTheInstallReferrer) {
    const auto values = TinyMap::sharedInstance().get("BS_SESSION_MAP");
    EXPECT_FALSE(values->has(StaticValues::IS_INSTALL_REFERRER_SET()));
    manager();

    EXPECT_TRUE(values->has(StaticValues::IS_INSTALL_REFERRER_SET()));
    EXPECT_FALSE(ProfileManager::sharedInstance().isInstallReferrerSet());
}

TEST_F(DocumentTest, OnlyTheFirstVisitEverStartsTheOrderTimes) {
    manager();
    machine.clock->advance(2 * secondsOfADay);
    manager().loadDocument();
    machine.clock->advance(1 * secondsOfADay);
    ProfileManager::sharedInstance().markRevenue();

    EXPECT_EQ(manager().getLtvt(), 2);
    EXPECT_EQ(ProfileManager::sharedInstance().getLtrvni(), 3);
}

/// Notes the keys of some maps in the order in which their values change. To be used outside a scope, so that each put
/// is a commit of its own.
class ChangeRecorder {
  public:
    ChangeRecorder(RecordingFileSystem& files, std::vector<std::string> names) : names_(std::move(names)) {
        for (const auto& name : names_) before_[name] = contents(name);
        files.beforeRename = [this] { note(); };
    }

    const std::vector<std::string>& changedKeys() const { return changedKeys_; }

  private:
    static nlohmann::json contents(const std::string& name) {
        return nlohmann::json::parse(TinyMap::sharedInstance().get(name)->jsonString());
    }
    void note() {
        for (const auto& name : names_) {
            const auto now = contents(name);
            for (const auto& [key, value] : now.items())
                if (before_[name].value(key, nlohmann::json()) != value) changedKeys_.push_back(key);
            before_[name] = now;
        }
    }

    std::vector<std::string> names_;
    std::map<std::string, nlohmann::json> before_;
    std::vector<std::string> changedKeys_;
};

class SessionDefaults : public SessionTest {
  protected:
    /// The step alone, for a document of the visit that goes on, or of a new one.
    Dictionary defaults() { return manager().putSessionDefault({}, "S1_1.000000"); }
    Dictionary defaultsOfANewVisit() {
        endVisit();
        return defaults();
    }
};

TEST_F(SessionDefaults, AddsNineKeysAndKeepsTheOthers) {
    const auto session = manager().putSessionDefault({{"other", "kept"}}, "S1_1.000000");

    EXPECT_THAT(session, SizeIs(10));
    EXPECT_EQ(session.at("other"), Value("kept"));
}

TEST_F(SessionDefaults, ToldOfAContinuedVisit) {
    auto& sessions = SessionManager::sharedInstance();
    const auto id = sessions.getSession(std::nullopt);

    EXPECT_EQ(defaults(), (Dictionary{{StaticValues::PARAM_RESPONSE_TP(), "json"},
                                      {StaticValues::PARAM_LTVT(), 1},
                                      {StaticValues::PARAM_SID(), sessions.getSid(std::nullopt)},
                                      {StaticValues::PARAM_SLOT_NO(), sessions.getSlotNo(id)},
                                      {StaticValues::PARAM_VISIT_NEW(), "N"},
                                      {StaticValues::PARAM_VT_TZ(), *sessions.getVtTz(id)},
                                      {StaticValues::PARAM_IS_WEEKELY_US(), "N"},
                                      {StaticValues::PARAM_IS_UNI_VT(), 0},
                                      {StaticValues::PARAM_PROFILE_ID(), "com.example.shop"}}));
}

TEST_F(SessionDefaults, ToldOfANewVisit) {
    const auto session = defaultsOfANewVisit();

    EXPECT_EQ(session.at(StaticValues::PARAM_LTVT()), Value(2));
    EXPECT_EQ(session.at(StaticValues::PARAM_VISIT_NEW()), Value("Y"));
    EXPECT_EQ(session.at(StaticValues::PARAM_SLOT_NO()), Value(2));
    EXPECT_EQ(stored(StaticValues::PARAM_LTVT()), Value(2));
    EXPECT_EQ(manager().getLtvt(), 2);
}

TEST_F(SessionDefaults, AContinuedVisitMovesNoCounterButRenewsTheThreePeriods) {
    const auto before = (*documentDB)->jsonString();
    latestDocumentWas(40);
    for (const auto* key : {&StaticValues::EXPIRE_TIME_DAILY(), &StaticValues::EXPIRE_TIME_WEEKLY(),
                            &StaticValues::EXPIRE_TIME_MONTHLY(), &StaticValues::EXPIRE_TIME_WEEKLY_MS()})
        (*documentDB)->putDouble(*key, 1.0);
    defaults();

    const auto was = nlohmann::json::parse(before);
    auto is = nlohmann::json::parse((*documentDB)->jsonString());
    EXPECT_EQ(is.at(StaticValues::EXPIRE_TIME_WEEKLY_MS()), 1.0);
    EXPECT_EQ(is.at(StaticValues::PARAM_RECENT_VISIT_PTM()), machine.clock->now());
    is[StaticValues::EXPIRE_TIME_WEEKLY_MS()] = was.at(StaticValues::EXPIRE_TIME_WEEKLY_MS());
    is[StaticValues::PARAM_RECENT_VISIT_PTM()] = was.at(StaticValues::PARAM_RECENT_VISIT_PTM());
    EXPECT_EQ(is, was);
}

TEST_F(SessionDefaults, TheCountersSeeTheLatestDocumentNotThisOne) {
    latestDocumentWas(4);
    defaultsOfANewVisit();

    EXPECT_EQ(stored(StaticValues::PARAM_LTVI()), Value(4.0));
    EXPECT_EQ(storedDouble(StaticValues::PARAM_RECENT_VISIT_PTM()), machine.clock->now());
}

TEST_F(SessionDefaults, TheRunOfReturnVisitsSeesTheLatestDocumentToo) {
    SessionManager::sharedInstance().configure({{"returnVisitDate", 3}});
    (*documentDB)->putInt(StaticValues::PARAM_UD_VT(), 5);
    latestDocumentWas(4);
    defaultsOfANewVisit();

    EXPECT_EQ(stored(StaticValues::PARAM_UD_VT()), Value(1));
}

TEST_F(SessionDefaults, TheWeeklyUserSeesThatThereWasNoDocumentYet) {
    (*documentDB)->putDouble(StaticValues::PARAM_RECENT_VISIT_PTM(), 0);
    (*documentDB)->putDouble(StaticValues::EXPIRE_TIME_WEEKLY_MS(), machine.clock->now() + secondsOfADay);
    const auto session = defaultsOfANewVisit();

    EXPECT_EQ(session.at(StaticValues::PARAM_IS_WEEKELY_US()), Value("Y"));
    EXPECT_EQ(session.at(StaticValues::PARAM_IS_UNI_VT()), Value(3));
}

TEST_F(SessionDefaults, TheFirstVisitStoresItsCountersInThisOrder) {
    (*documentDB)->putInt(StaticValues::PARAM_LTVT(), 0);
    (*documentDB)->putInt(StaticValues::PARAM_UD_VT(), 5);
    ProfileManager::sharedInstance().putSessionData(StaticValues::IS_INSTALL_REFERRER_SET(), nullptr);
    machine.clock->advance(40 * secondsOfADay);  // so that every value changes
    const ChangeRecorder recorder(*recordFiles(),
                                  {StaticValues::DOCUMENT_DB_NAME(), "current_profile_file", "BS_SESSION_MAP"});
    defaults();

    EXPECT_THAT(
        recorder.changedKeys(),
        ElementsAre(StaticValues::PARAM_LTVT(), "revenue", StaticValues::IS_INSTALL_REFERRER_SET(),
                    StaticValues::PARAM_LTVI(), StaticValues::PARAM_UD_VT(), StaticValues::EXPIRE_TIME_WEEKLY_MS(),
                    StaticValues::EXPIRE_TIME_DAILY(), StaticValues::EXPIRE_TIME_WEEKLY(),
                    StaticValues::EXPIRE_TIME_MONTHLY(), StaticValues::PARAM_RECENT_VISIT_PTM()));
}

TEST_F(SessionDefaults, ADocumentOfAContinuedVisitCountsAsTheLatestToo) {
    latestDocumentWas(4);
    defaults();
    defaultsOfANewVisit();

    EXPECT_EQ(stored(StaticValues::PARAM_LTVI()), Value(0.0));
}

TEST_F(SessionDefaults, OnlyTheFirstVisitStartsTheWaitForTheInstallReferrer) {
    ProfileManager::sharedInstance().putSessionData(StaticValues::IS_INSTALL_REFERRER_SET(), nullptr);
    const auto before = TinyMap::sharedInstance().get("BS_SESSION_MAP")->jsonString();
    defaultsOfANewVisit();

    EXPECT_EQ(TinyMap::sharedInstance().get("BS_SESSION_MAP")->jsonString(), before);
}

TEST_F(SessionDefaults, LogsTheCountAndTheVisitNewAnswer) {
    defaultsOfANewVisit();

    EXPECT_THAT(machine.log->linesStartingWith(countLine), ElementsAre("DEBUG_HARVELSTONE_CONFIG_LTVT : 2 / Y "));
}

TEST_F(SessionDefaults, LogsTheCountAsA32BitInteger) {
    (*documentDB)->putInt(StaticValues::PARAM_LTVT(), 4'294'967'296 + 7);
    EXPECT_EQ(defaults().at(StaticValues::PARAM_LTVT()), Value(4'294'967'303));
    (*documentDB)->putInt(StaticValues::PARAM_LTVT(), 2'147'483'648);
    defaults();

    EXPECT_THAT(
        machine.log->linesStartingWith(countLine),
        ElementsAre("DEBUG_HARVELSTONE_CONFIG_LTVT : 7 / N ", "DEBUG_HARVELSTONE_CONFIG_LTVT : -2147483648 / N "));
}

TEST_F(SessionDefaults, ACountOfTheWrongTypeReadsZero) {
    (*documentDB)->putString(StaticValues::PARAM_LTVT(), "many");
    EXPECT_EQ(manager().getLtvt(), 0);

    EXPECT_EQ(defaultsOfANewVisit().at(StaticValues::PARAM_LTVT()), Value(1));
}

TEST_F(DocumentTest, CountersThatAreNoNumbersReadAsNeverStored) {
    machine.writeFile(
        storedFileName(StaticValues::DOCUMENT_DB_NAME()),
        R"({"lifetime_visits":true,"lifetime_visit_interval":true,"return_visits":true,"recent_visit_time":true})");
    manager();

    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_LTVT()), Value(1));
    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_LTVI()), Value(0.0));
    EXPECT_EQ((*documentDB)->get(StaticValues::PARAM_UD_VT()), Value(1));
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_IS_UNI_VT()), Value(3));
}

TEST_F(SessionDefaults, TheProfileIdIsTheBundleIdentifier) {
    machine.device->bundle = "org.example.other";

    EXPECT_EQ(manager().getbunddleId(), "org.example.other");
    EXPECT_EQ(defaults().at(StaticValues::PARAM_PROFILE_ID()), Value("org.example.other"));
}

TEST(Restart, VisitsAreCountedAcrossLives) {
    TemporaryFolder folder;
    for (int visit = 1; visit <= 3; ++visit)
        life([&] {
            const Machine app(folder.path());
            app.clock->advance(visit * 2 * secondsOfADay);
            // The device's UUIDs count up from 1 in each life: away from those of the lives before.
            for (int used = 0; used < visit * 100; ++used) static_cast<void>(app.device->uuidText());
            EXPECT_EQ(DocumentManager::sharedInstance().getLtvt(), visit);
            EXPECT_EQ(currentSession().at(StaticValues::PARAM_LTVI()), Value((visit - 1) * 2.0));
            EXPECT_THAT(app.log->lines(),
                        Contains("DEBUG_HARVELSTONE_CONFIG_LTVT : " + std::to_string(visit) + " / Y "));
        });
}

}  // namespace
}  // namespace harvelstone::testing
