#include "harvelstone/services/Constants.hpp"

#include "tests/session/SessionTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Advertising : public SessionTest {
  protected:
    Dictionary section() { return manager().putAdProfile({}, /*isInstallData=*/false); }
    static void put(const std::string& key, const Value& value) {
        ProfileManager::sharedInstance().putSessionData(key, value);
    }
    /// The keys whose texts are copied as they are.
    static std::vector<std::string> copiedKeys() {
        return {
            StaticValues::PARAM_MAT_SOURCE(),
            StaticValues::PARAM_MAT_MEDIUM(),
            StaticValues::PARAM_MAT_KWD(),
            StaticValues::PARAM_MAT_CAMPAIGN(),
            StaticValues::PARAM_MAT_AFFILIATE(),
            StaticValues::PARAM_MAT_AFFILIATE_SUB(),
            StaticValues::PARAM_WA_CAMPAIGN(),
            StaticValues::PARAM_WA_SOURCE(),
            StaticValues::PARAM_WA_APP(),
            StaticValues::PARAM_WA_CLASSIFICATION(),
            StaticValues::PARAM_WA_AD(),
            StaticValues::PARAM_WA_LOCATION(),
            StaticValues::PARAM_WA_KEYWORD(),
            StaticValues::PARAM_IAT_SOURCE(),
            StaticValues::PARAM_IAT_MEDIUM(),
            StaticValues::PARAM_IAT_KWD(),
            StaticValues::PARAM_IAT_CAMPAIGN(),
            StaticValues::PARAM_IAT_AFFILIATE(),
            StaticValues::PARAM_IAT_AFFILIATE_SUB(),
            StaticValues::PARAM_FB_SOURCE(),
            StaticValues::PARAM_UTM_CAMPAIGN(),
            StaticValues::PARAM_UTM_CONTENT(),
            StaticValues::PARAM_UTM_MEDIUM(),
            StaticValues::PARAM_UTM_SOURCE(),
            StaticValues::PARAM_UTM_TERM(),
            StaticValues::PARAM_GCLID(),
            StaticValues::PARAM_ICMP(),
            StaticValues::PARAM_ICMP_TRACE(),
            StaticValues::PARAM_PUSH_MESSAGE_KEY(),
            StaticValues::SAR_INFO(),
        };
    }
};

TEST_F(Advertising, FillsAllThirtySixKeys) { EXPECT_THAT(section(), SizeIs(36)); }

TEST_F(Advertising, LeavesTheTracesOutOfInstallData) {
    const auto install = manager().putAdProfile({}, /*isInstallData=*/true);

    EXPECT_THAT(install, SizeIs(34));
    auto whole = section();
    EXPECT_EQ(whole.erase(StaticValues::PARAM_MAT_SOURCE_TRACE()), 1U);
    EXPECT_EQ(whole.erase(StaticValues::PARAM_MAT_CAMPAIGN_TRACE()), 1U);
    EXPECT_EQ(install, whole);
}

TEST_F(Advertising, CopiesThirtyTextsUnderTheirOwnKeys) {
    for (const auto& key : copiedKeys()) put(key, "value of " + key);
    const auto filled = section();

    for (const auto& key : copiedKeys()) EXPECT_EQ(filled.at(key), Value("value of " + key));
    EXPECT_THAT(copiedKeys(), SizeIs(30));
}

TEST_F(Advertising, ConvertsTheOtherSix) {
    put(StaticValues::PARAM_MAT_UPDATE_TIME(), 42);
    put(StaticValues::PARAM_MAT_UPDATE_SID(), "sid-1");
    put(StaticValues::HV_SOURCE_CLICK_TIME(), "12:30");
    put(StaticValues::PARAM_MAT_SOURCE_TRACE(), List{"a", "b"});
    put(StaticValues::PARAM_MAT_CAMPAIGN_TRACE(), List{"c"});
    put(StaticValues::PARAM_CONV_TP(), 2);
    const auto filled = section();

    EXPECT_EQ(filled.at(StaticValues::HV_SOURCE_UPDATE_TIME()), Value(42.0));
    EXPECT_EQ(filled.at(StaticValues::HV_SOURCE_UPDATE_SID()), Value("sid-1"));
    EXPECT_EQ(filled.at(StaticValues::HV_SOURCE_CLICK_TIME()), Value("12:30"));
    EXPECT_EQ(filled.at(StaticValues::PARAM_MAT_SOURCE_TRACE()), Value(List{"a", "b"}));
    EXPECT_EQ(filled.at(StaticValues::PARAM_MAT_CAMPAIGN_TRACE()), Value(List{"c"}));
    EXPECT_EQ(filled.at(StaticValues::PARAM_CONV_TP()), Value(2));
    EXPECT_FALSE(filled.contains(StaticValues::PARAM_MAT_UPDATE_TIME()));
    EXPECT_FALSE(filled.contains(StaticValues::PARAM_MAT_UPDATE_SID()));
}

TEST_F(Advertising, TheUpdateTimeIsAnIntegerBeforeItIsADouble) {
    put(StaticValues::PARAM_MAT_UPDATE_TIME(), 42.9);

    EXPECT_EQ(section().at(StaticValues::HV_SOURCE_UPDATE_TIME()), Value(42.0));
}

TEST_F(Advertising, AClickTimeThatIsANumberBecomesText) {
    put(StaticValues::HV_SOURCE_CLICK_TIME(), 1'479'259'200);

    EXPECT_EQ(section().at(StaticValues::HV_SOURCE_CLICK_TIME()), Value("1479259200"));
}

TEST_F(Advertising, TheUpdateTimeIsWrittenWithItsPoint) {
    put(StaticValues::PARAM_MAT_UPDATE_TIME(), 42);
    const auto document = manager().updateDocument();

    EXPECT_THAT(document->jsonString(), HasSubstr("\"" + StaticValues::HV_SOURCE_UPDATE_TIME() + "\":42.0"));
}

TEST_F(Advertising, AnUnsetClickTimeIsDescribedAsAbsent) {
    EXPECT_EQ(section().at(StaticValues::HV_SOURCE_CLICK_TIME()), Value("(null)"));
}

TEST_F(Advertising, EveryMissingTextIsRefusedByItsKey) {
    for (const auto& key : copiedKeys()) {
        SCOPED_TRACE(key);
        put(key, nullptr);
        EXPECT_THAT(refusal([&] { section(); }), HasSubstr("\"" + key + "\""));
        put(key, "x");
    }
}

TEST_F(Advertising, AMissingUpdateSessionIsRefusedByItsSectionKey) {
    put(StaticValues::PARAM_MAT_UPDATE_SID(), nullptr);

    EXPECT_THAT(refusal([&] { section(); }), HasSubstr(StaticValues::HV_SOURCE_UPDATE_SID()));
}

TEST_F(Advertising, AMissingTraceIsRefusedUnlessItIsLeftOut) {
    for (const auto* key : {&StaticValues::PARAM_MAT_SOURCE_TRACE(), &StaticValues::PARAM_MAT_CAMPAIGN_TRACE()}) {
        put(*key, nullptr);
        EXPECT_THAT(refusal([&] { section(); }), HasSubstr(*key));
        EXPECT_NO_THROW(manager().putAdProfile({}, /*isInstallData=*/true));
        put(*key, List{});
    }
}

TEST_F(Advertising, TheFirstMissingValueInTheOrderOfTheKeysIsRefused) {
    auto keys = copiedKeys();
    const auto behindAffiliateSub = keys.begin() + 6;
    const auto others = {StaticValues::PARAM_MAT_UPDATE_SID(), StaticValues::PARAM_MAT_SOURCE_TRACE(),
                         StaticValues::PARAM_MAT_CAMPAIGN_TRACE()};
    keys.insert(behindAffiliateSub, others.begin(), others.end());
    for (const auto& key : keys) put(key, nullptr);

    for (const auto& key : keys) {
        const bool isRenamed = key == StaticValues::PARAM_MAT_UPDATE_SID();
        const auto& sectionKey = isRenamed ? StaticValues::HV_SOURCE_UPDATE_SID() : key;
        EXPECT_THAT(refusal([&] { section(); }), HasSubstr("\"" + sectionKey + "\""));
        put(key, key.ends_with("source_trace") || key == StaticValues::PARAM_MAT_CAMPAIGN_TRACE() ? Value(List())
                                                                                                  : Value("x"));
    }
    EXPECT_THAT(section(), SizeIs(36));
}

class InstallReferrer : public SessionTest {
  protected:
    using Texts = std::map<std::string, Value>;

    InstallReferrer() { before = attribution(); }

    /// Every text that the profile manager's session-scoped store holds under a key of the system.
    static Texts attribution() {
        Texts texts;
        for (const auto& constant : staticValuesTable()) {
            const std::string key(constant.text);
            if (const auto text = ProfileManager::sharedInstance().getSessionStringData(key)) texts.emplace(key, *text);
        }
        return texts;
    }
    /// What it holds that it did not hold at the beginning.
    Texts changes() const {
        Texts changed;
        for (const auto& [key, value] : attribution())
            if (!before.contains(key) || before.at(key) != value) changed.emplace(key, value);
        return changed;
    }
    static std::string setLine(const std::string& accessor) {
        return "DEBUG_HARVELSTONE_INTALL_REFERRER :" + accessor + " set!.  ";
    }

    Texts before;
};

TEST_F(InstallReferrer, TakesASourceTwice) {
    manager().putInstallData({{StaticValues::PARAM_MAT_SOURCE(), "mail"}});

    EXPECT_EQ(changes(),
              (Texts{{StaticValues::PARAM_MAT_SOURCE(), "mail"}, {StaticValues::PARAM_IAT_SOURCE(), "mail"}}));
    EXPECT_THAT(machine.log->lines(),
                ElementsAre("DEBUG_HARVELSTONE_INTALL_REFERRER : {\"source\":\"mail\"}", setLine("PARAM_MAT_SOURCE")));
}

TEST_F(InstallReferrer, TakesEveryKeyInItsOrder) {
    Dictionary referrer;
    for (auto* accessor :
         {&StaticValues::PARAM_UTM_CAMPAIGN, &StaticValues::PARAM_UTM_SOURCE, &StaticValues::PARAM_UTM_MEDIUM,
          &StaticValues::PARAM_UTM_TERM, &StaticValues::PARAM_UTM_CONTENT, &StaticValues::PARAM_GCLID,
          &StaticValues::PARAM_MAT_CAMPAIGN, &StaticValues::PARAM_MAT_SOURCE, &StaticValues::PARAM_MAT_MEDIUM,
          &StaticValues::PARAM_MAT_KWD, &StaticValues::PARAM_MAT_AFFILIATE, &StaticValues::PARAM_MAT_AFFILIATE_SUB})
        referrer.emplace((*accessor)(), "value of " + (*accessor)());
    manager().putInstallData(referrer);

    auto lines = machine.log->lines();
    lines.erase(lines.begin());
    EXPECT_THAT(lines, ElementsAre(setLine("PARAM_UTM_CAMPAIGN"), setLine("PARAM_UTM_SOURCE"),
                                   setLine("PARAM_UTM_MEDIUM"), setLine("PARAM_UTM_TERM"), setLine("PARAM_UTM_CONTENT"),
                                   setLine("PARAM_GCLID"), setLine("PARAM_MAT_CAMPAIGN"), setLine("PARAM_MAT_SOURCE"),
                                   setLine("PARAM_MAT_MEDIUM"), setLine("PARAM_MAT_KWD"),
                                   setLine("PARAM_MAT_AFFILIATE"), setLine("PARAM_MAT_AFFILIATE_SUB")));
    EXPECT_THAT(changes(), SizeIs(18));
    for (const auto& [key, value] : referrer) EXPECT_EQ(changes().at(key), value);
}

TEST_F(InstallReferrer, CopiesTheSixAttributionValuesAsThoseOfTheInstall) {
    struct Pair {
        const std::string& current;
        const std::string& install;
    };
    const Pair pairs[] = {{StaticValues::PARAM_MAT_CAMPAIGN(), StaticValues::PARAM_IAT_CAMPAIGN()},
                          {StaticValues::PARAM_MAT_SOURCE(), StaticValues::PARAM_IAT_SOURCE()},
                          {StaticValues::PARAM_MAT_MEDIUM(), StaticValues::PARAM_IAT_MEDIUM()},
                          {StaticValues::PARAM_MAT_KWD(), StaticValues::PARAM_IAT_KWD()},
                          {StaticValues::PARAM_MAT_AFFILIATE(), StaticValues::PARAM_IAT_AFFILIATE()},
                          {StaticValues::PARAM_MAT_AFFILIATE_SUB(), StaticValues::PARAM_IAT_AFFILIATE_SUB()}};
    for (const auto& [current, install] : pairs) {
        manager().putInstallData({{current, "value of " + current}});
        EXPECT_EQ(attribution().at(install), Value("value of " + current));
    }
    EXPECT_THAT(changes(), SizeIs(12));
}

TEST_F(InstallReferrer, OfUtmKeysAloneSaysNothingAboutTheInstall) {
    manager().putInstallData({{StaticValues::PARAM_UTM_SOURCE(), "a"}, {StaticValues::PARAM_GCLID(), "b"}});

    EXPECT_EQ(changes(), (Texts{{StaticValues::PARAM_UTM_SOURCE(), "a"}, {StaticValues::PARAM_GCLID(), "b"}}));
}

TEST_F(InstallReferrer, TakesTheEmptyTextLikeAnyOther) {
    manager().putInstallData({{StaticValues::PARAM_UTM_TERM(), "old"}});
    machine.log->clear();
    manager().putInstallData({{StaticValues::PARAM_UTM_TERM(), ""}});

    EXPECT_EQ(attribution().at(StaticValues::PARAM_UTM_TERM()), Value(""));
    EXPECT_THAT(machine.log->lines(),
                ElementsAre("DEBUG_HARVELSTONE_INTALL_REFERRER : {\"utm_term\":\"\"}", setLine("PARAM_UTM_TERM")));
}

TEST_F(InstallReferrer, SkipsNullAndUnknownKeysSilently) {
    manager().putInstallData({{StaticValues::PARAM_UTM_TERM(), nullptr}, {"other", "x"}});

    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(machine.log->lines(),
                ElementsAre("DEBUG_HARVELSTONE_INTALL_REFERRER : {\"other\":\"x\",\"utm_term\":null}"));
}

/// Writes down what the source of the attribution is while a line is logged.
class SourceAtEachLine final : public platform::Log {
  public:
    void platformLine(std::string_view) noexcept override {}
    void debugLine(std::string_view) noexcept override {
        sources.push_back(*ProfileManager::sharedInstance().getSessionStringData(StaticValues::PARAM_MAT_SOURCE()));
    }
    std::vector<Value> sources;
};

TEST_F(InstallReferrer, SaysWhatItSetsBeforeItSetsIt) {
    const auto log = std::make_shared<SourceAtEachLine>();
    platform::Platform::current().log = log;
    manager().putInstallData({{StaticValues::PARAM_MAT_SOURCE(), "mail"}, {StaticValues::PARAM_MAT_MEDIUM(), "m"}});

    EXPECT_THAT(log->sources, ElementsAre(Value(""), Value(""), Value("mail")));
}

TEST_F(InstallReferrer, MayBeEmpty) {
    manager().putInstallData({});

    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(machine.log->lines(), ElementsAre("DEBUG_HARVELSTONE_INTALL_REFERRER : {}"));
}

TEST_F(InstallReferrer, ReachesTheNextDocument) {
    manager().putInstallData({{StaticValues::PARAM_MAT_SOURCE(), "mail"}});
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_IAT_SOURCE()), Value(""));
    manager().createDocument();

    EXPECT_EQ(currentSession().at(StaticValues::PARAM_MAT_SOURCE()), Value("mail"));
    EXPECT_EQ(currentSession().at(StaticValues::PARAM_IAT_SOURCE()), Value("mail"));
}

TEST_F(InstallReferrer, IsStoredInOneCommit) {
    const auto files = recordFiles();
    manager().putInstallData({{StaticValues::PARAM_MAT_SOURCE(), "mail"}, {StaticValues::PARAM_GCLID(), "g"}});

    EXPECT_THAT(files->committed, ElementsAre(storedFilePath("BS_SESSION_MAP")));
}

}  // namespace
}  // namespace harvelstone::testing
