// How documents are sent again, given up and retired.

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* trafficLine =
    "DEBUG_HARVELSTONE_SENDDOCUMENT_LIMIT_TRAFFIC : This Service exceeded analytic traffic limit. Your request is "
    "skipped.";
constexpr const char* skipLine = "DEBUG_HARVELSTONE_SENDDOCUMENT skip by documentNameList size is zero. ";
constexpr const char* exceptionLine = "DEBUG_HARVELSTONE_JSON : an Exception occurred.";
constexpr double hour = 3600;

/// A loop that only tells the test of each task that is scheduled on it.
class HookedRunLoop final : public platform::RunLoop {
  public:
    explicit HookedRunLoop(std::function<void()> scheduled) : scheduled_(std::move(scheduled)) {}
    void post(platform::Task /*task*/) override { scheduled_(); }
    void callAfter(platform::Seconds /*delay*/, platform::Task /*task*/) override { scheduled_(); }

  private:
    std::function<void()> scheduled_;
};

class SendLoop : public SendingTest {
  protected:
    static std::uint64_t retiredAs(Fate fate) { return fateCounts()[fate]; }
    static std::string expiredLine(const std::string& id) {
        return "DEBUG_HARVELSTONE_JSON : this document life time is over. " + id;
    }
    static void exceedTraffic() { Tracker::sharedInstance().FLAG_OF_TrafficLimitExceeded = true; }
    /// The next commit of a map finds the pending list empty.
    void emptyListDuringThePass() {
        const auto files = recordFiles();
        files->beforeRename = [files = files.get()] {
            files->beforeRename = nullptr;
            documetNameList->store(DocumentNames());
        };
    }
};

// ---- Attempts ----

TEST_F(SendLoop, ADocumentIsSentThreeTimesAndRetiredAtTheFourthPass) {
    const auto id = headId();
    addNewVisit();
    for (int attempt = 1; attempt <= 3; ++attempt) {
        attempt == 1 ? send() : repeat();
        EXPECT_EQ(attempts(id), Value(attempt));
        EXPECT_EQ(uploaded().at(StaticValues::RETRY_COUNT()), Value(attempt));
        answer(R"({"retry":true})");
    }
    EXPECT_EQ(headId(), id);
    const auto lines = linesOf([&] { repeat(); });

    EXPECT_THAT(lines, Contains("DEBUG_HARVELSTONE_JSON : this document retry count is more than 3. " + id));
    EXPECT_EQ(attempts(id), Value(4));
    EXPECT_EQ(retiredAs(Fate::retriesExhausted), 1U);
    EXPECT_NE(headId(), id);
    EXPECT_EQ(sentCount(), 4U);  // the fourth is the next document's
}

TEST_F(SendLoop, TheLineSaysThreeWhateverTheLimit) {
    const auto id = headId();
    MAX_RETRY_COUNT_FOR_SENDDOCUMENT = 1;
    send();

    EXPECT_THAT(linesOfAPass(), Contains("DEBUG_HARVELSTONE_JSON : this document retry count is more than 3. " + id));
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(SendLoop, TheAttemptIsCountedBeforeItIsFoundToBeTooMany) {
    const auto id = headId();
    document(id)->putInt(StaticValues::RETRY_COUNT(), 3);
    std::optional<Value> attemptsAtTheLine;
    atLine("DEBUG_HARVELSTONE_JSON : this document retry count", [&] { attemptsAtTheLine = attempts(id); });
    send();

    EXPECT_EQ(attemptsAtTheLine, Value(4));
}

TEST_F(SendLoop, CountAndLimitAreComparedWithTheirSigns) {
    const auto id = headId();
    document(id)->putInt(StaticValues::RETRY_COUNT(), -5);
    send();
    EXPECT_EQ(attempts(id), Value(-4));
    EXPECT_EQ(sentCount(), 1U);

    MAX_RETRY_COUNT_FOR_SENDDOCUMENT = -4;
    send();
    EXPECT_EQ(retiredAs(Fate::retriesExhausted), 1U);
}

TEST_F(SendLoop, AHigherLimitGivesMoreAttempts) {
    MAX_RETRY_COUNT_FOR_SENDDOCUMENT = 5;
    for (int attempt = 0; attempt < 5; ++attempt) send();
    EXPECT_EQ(sentCount(), 5U);
    send();
    EXPECT_EQ(retiredAs(Fate::retriesExhausted), 1U);
}

TEST_F(SendLoop, TheHighestCountIsNotRaised) {
    const auto id = headId();
    constexpr auto highest = std::numeric_limits<std::int64_t>::max();
    document(id)->putInt(StaticValues::RETRY_COUNT(), highest);
    send();

    EXPECT_EQ(attempts(id), Value(highest));
    EXPECT_EQ(retiredAs(Fate::retriesExhausted), 1U);
}

TEST_F(SendLoop, ACountThatIsNoNumberReadsZero) {
    const auto id = headId();
    document(id)->putString(StaticValues::RETRY_COUNT(), "three");
    send();

    EXPECT_EQ(attempts(id), Value(1));
    EXPECT_EQ(sentCount(), 1U);
}

// ---- Life time ----

TEST_F(SendLoop, ADocumentOfExactlyTheLongestLifeIsStillSent) {
    const auto created = section(*head(), TrackType::TYPE_SESSION()).at(StaticValues::CREATE_TIME()).doubleValue();
    BSConfig::sharedInstance().setMaxDataLifeTime(2);
    machine.clock->set(created + 2 * hour);
    send();

    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(SendLoop, AnOlderDocumentIsRetired) {
    const auto id = headId();
    const auto created = section(*head(), TrackType::TYPE_SESSION()).at(StaticValues::CREATE_TIME()).doubleValue();
    BSConfig::sharedInstance().setMaxDataLifeTime(2);
    machine.clock->set(created + 2 * hour + 0.25);
    const auto listBefore = listLine();
    const auto lines = linesOfAPass();

    ASSERT_THAT(lines, SizeIs(6));
    EXPECT_EQ(lines[0], listBefore);
    EXPECT_EQ(lines[1], idLine(id));
    EXPECT_EQ(lines[2], expiredLine(id));
    EXPECT_EQ(lines[3], "DEBUG_HARVELSTONE_CONFIG : documentID --> " + headId() + " ");
    EXPECT_EQ(retiredAs(Fate::expired), 1U);
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendLoop, ADocumentWithoutACreationTimeHasExpired) {
    const auto id = headId();
    auto session = section(*head(), TrackType::TYPE_SESSION());
    session.erase(StaticValues::CREATE_TIME());
    head()->putDictionary(TrackType::TYPE_SESSION().typeValue(), session);

    EXPECT_THAT(linesOfAPass(), Contains(expiredLine(id)));
}

// ---- The session section ----

TEST_F(SendLoop, ADocumentWithoutASessionIsRetiredWithoutALine) {
    const auto id = headId();
    const auto next = addNewVisit();
    documetNameList->store(DocumentNames({"gone", next}));
    const auto lines = linesOfAPass();

    EXPECT_EQ(lines[1], idLine("gone"));
    EXPECT_EQ(lines[2], listLine());
    EXPECT_EQ(lines[3], idLine(next));
    EXPECT_EQ(retiredAs(Fate::sessionMissing), 1U);
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(SendLoop, ASessionThatIsNoDictionaryIsNone) {
    head()->putString(TrackType::TYPE_SESSION().typeValue(), "broken");
    send();

    EXPECT_EQ(retiredAs(Fate::sessionMissing), 1U);
}

TEST_F(SendLoop, AnEmptySessionBlocksTheHeadOfTheList) {
    const auto id = headId();
    const auto next = addNewVisit();
    head()->putDictionary(TrackType::TYPE_SESSION().typeValue(), {});
    send();
    send();

    EXPECT_THAT(pendingIds(), ElementsAre(id, next));
    EXPECT_EQ(sentCount(), 0U);
    EXPECT_FALSE(attempts(id));
}

// ---- Nothing to report ----

TEST_F(SendLoop, AContinuedVisitWithNothingToReportIsRetiredUnsent) {
    const auto id = headId();
    makeHeadContinued();
    const auto listBefore = listLine();
    const auto lines = linesOfAPass();

    ASSERT_THAT(lines, SizeIs(7));
    EXPECT_EQ(lines[0], listBefore);
    EXPECT_EQ(lines[1], idLine(id));
    EXPECT_EQ(lines[2], "DEBUG_HARVELSTONE_sendAsynchronousRequest : this page doesn't have the conversion data.");
    EXPECT_EQ(lines[3], "DEBUG_HARVELSTONE_LOG : nextSendDocument Enter.");
    EXPECT_EQ(retiredAs(Fate::noConversionData), 1U);
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendLoop, ADocumentIsSavedBeforeItIsFoundToHaveNothingToReport) {
    const auto id = headId();
    makeHeadContinued();
    nlohmann::json onDisk;
    std::vector<std::string> committed;
    const auto files = recordFiles();
    atLine("DEBUG_HARVELSTONE_sendAsynchronousRequest : this page", [&] {
        onDisk = fileOfMap(machine, id);
        committed = files->committed;
    });
    send();

    EXPECT_EQ(onDisk.at("retry_count"), 1);
    EXPECT_THAT(committed, ElementsAre(storedFilePath(id)));  // once, with all its sections
}

TEST_F(SendLoop, ANewVisitWithNothingToReportIsSent) {
    send();
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(SendLoop, AnyKindOfRecordIsSomethingToReport) {
    const Dictionary record{{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}, {"e", 5}};
    std::vector<std::string> ids;
    for (const auto* prefix :
         {&StaticValues::GOAL_FILE_PREFIX(), &StaticValues::PAGES_FILE_PREFIX(), &StaticValues::CLICK_FILE_PREFIX(),
          &StaticValues::REVENUE_FILE_PREFIX(), &StaticValues::PUSH_FILE_PREFIX()}) {
        ids.push_back(addContinuedVisit());
        queueFor(ids.back(), *prefix, record);
    }
    documetNameList->store(DocumentNames(ids));
    send();
    for (std::size_t i = 0; i < ids.size(); ++i) answer("{}");

    EXPECT_EQ(retiredAs(Fate::sent), 5U);
    EXPECT_EQ(fateCounts().retired(), 5U);
}

TEST_F(SendLoop, EventsAndCampaignsAreNothingToReport) {
    makeHeadContinued();
    manager().setEvent("t", "n", "v");
    manager().setCampaign("t", "n", "v", "r");
    send();

    EXPECT_EQ(retiredAs(Fate::noConversionData), 1U);
}

// ---- Traffic limit ----

TEST_F(SendLoop, WithTheTrafficLimitEveryDocumentIsRetiredUnsent) {
    const auto first = headId();
    const auto second = addNewVisit();
    exceedTraffic();
    const auto lines = linesOfAPass();

    EXPECT_EQ(retiredAs(Fate::trafficLimit), 2U);
    EXPECT_EQ(sentCount(), 0U);
    ASSERT_THAT(pendingIds(), SizeIs(1));
    EXPECT_THAT(pendingIds(), Not(Contains(first)));
    EXPECT_THAT(pendingIds(), Not(Contains(second)));
    EXPECT_EQ((*currentDocument->load())->name(), headId());
    EXPECT_EQ(lines[2], trafficLine);
    EXPECT_EQ(lines[4], idLine(second));
    EXPECT_EQ(lines[5], trafficLine);
    EXPECT_THAT(lines, Not(Contains(skipLine)));
}

TEST_F(SendLoop, AListEmptiedDuringThePassGetsANewDocumentAtTheTrafficLimit) {
    exceedTraffic();
    emptyListDuringThePass();
    const auto lines = linesOfAPass();

    EXPECT_EQ(lines[2], trafficLine);
    EXPECT_EQ(lines.back(), skipLine);
    EXPECT_THAT(pendingIds(), SizeIs(1));
    EXPECT_EQ((*currentDocument->load())->name(), headId());
    EXPECT_EQ(fateCounts().retired(), 0U);
}

// ---- Retiring ----

TEST_F(SendLoop, RetiringTakesTheOldestFromMemoryStoreAndDisk) {
    const auto first = headId();
    const auto second = addNewVisit();
    manager().nextSendDocument();

    EXPECT_THAT(pendingIds(), ElementsAre(second));
    EXPECT_THAT(storedIds(), ElementsAre(second));
    EXPECT_THAT(idsOnDisk(machine), ElementsAre(second));
    EXPECT_EQ(retiredAs(Fate::sent), 1U);
}

TEST_F(SendLoop, RetiringGoesOnWithTheNextAtOnce) {
    const auto second = addNewVisit();
    const auto lines = linesOf([&] { manager().nextSendDocument(); });

    EXPECT_EQ(lines[0], listLine());
    EXPECT_EQ(lines[1], idLine(second));
    EXPECT_EQ(sentCount(), 1U);
}

TEST_F(SendLoop, RetiringTheLastCreatesADocumentAndStartsNoPass) {
    const auto last = headId();
    const auto lines = linesOf([&] { manager().nextSendDocument(); });

    ASSERT_THAT(pendingIds(), SizeIs(1));
    EXPECT_NE(headId(), last);
    EXPECT_EQ((*currentDocument->load())->name(), headId());
    EXPECT_THAT(lines, SizeIs(3));  // the creation's
    EXPECT_EQ(sentCount(), 0U);
    EXPECT_THAT(idsOnDisk(machine), ElementsAre(headId()));
}

TEST_F(SendLoop, RetiringFromAnEmptyListIsLogged) {
    documetNameList->store(DocumentNames());

    EXPECT_THAT(
        linesOf([&] { manager().nextSendDocument(); }),
        ElementsAre("DEBUG_HARVELSTONE_sendAsynchronousRequest : nextSendDocument->documentNamelist.size == 0  "));
    EXPECT_THAT(pendingIds(), IsEmpty());
    EXPECT_EQ(fateCounts().retired(), 0U);
    EXPECT_EQ(removalsUnderWay(), 0U);
}

TEST_F(SendLoop, ARetiredDocumentsFilesAreRemovedASecondLaterOnTheMainQueue) {
    const auto id = headId();
    manager().nextSendDocument();
    EXPECT_THAT(machine.mainQueue->pendingDelays(), ElementsAre(1.0));
    EXPECT_EQ(removalsUnderWay(), 1U);
    machine.mainQueue->advance(0.999);
    EXPECT_TRUE(machine.fileSystem->exists(storedFilePath(id)));

    machine.mainQueue->advance(0.001);
    EXPECT_FALSE(machine.fileSystem->exists(storedFilePath(id)));
    EXPECT_EQ(removalsUnderWay(), 0U);
}

TEST_F(SendLoop, TheObserverIsToldOfEachFate) {
    const auto first = headId();
    const auto second = addNewVisit();
    expire(first);
    std::vector<std::pair<std::string, Fate>> told;
    setFateObserver([&told](const std::string& id, Fate fate) { told.emplace_back(id, fate); });
    send();
    answer("{}");

    EXPECT_THAT(told, ElementsAre(std::pair(first, Fate::expired), std::pair(second, Fate::sent)));
}

// ---- A run of retirements ----

TEST_F(SendLoop, ARunOfDeadDocumentsEndsWithTheFirstLivingOne) {
    expire(headId());
    for (int i = 0; i < 3; ++i) expire(addNewVisit());
    const auto living = addNewVisit();
    send();

    EXPECT_EQ(retiredAs(Fate::expired), 4U);
    EXPECT_THAT(pendingIds(), ElementsAre(living));
    EXPECT_EQ(sentCount(), 1U);
    EXPECT_EQ(removalsUnderWay(), 4U);
}

TEST_F(SendLoop, TheListIsStoredAtEachRetirementBeforeTheNextPass) {
    expire(headId());
    for (int i = 0; i < 3; ++i) expire(addNewVisit());
    const auto living = addNewVisit();
    std::vector<std::size_t> onDisk;
    atLine("documetNameList", [&] { onDisk.push_back(idsOnDisk(machine).size()); });
    send();

    EXPECT_THAT(onDisk, ElementsAre(5, 4, 3, 2, 1));
    EXPECT_THAT(idsOnDisk(machine), ElementsAre(living));
}

TEST_F(SendLoop, TheListIsStoredBeforeTheRemovalIsScheduled) {
    const auto next = addNewVisit();
    std::vector<std::vector<std::string>> onDisk;
    platform::Platform::current().mainQueue =
        std::make_shared<HookedRunLoop>([&] { onDisk.push_back(idsOnDisk(machine)); });
    manager().nextSendDocument();

    EXPECT_THAT(onDisk, ElementsAre(std::vector{next}));
}

TEST_F(SendLoop, ALongListIsStoredAtTheFirstRetirementAndWheneverAFifthHasGone) {
    std::vector<std::string> ids;
    for (int i = 0; i < 200; ++i) ids.push_back("gone_" + std::to_string(i));
    ids.push_back(headId());
    documetNameList->store(DocumentNames(ids));
    std::vector<std::size_t> onDisk;
    const auto files = recordFiles();
    atLine("documetNameList", [&] {
        const auto size = idsOnDisk(machine).size();
        if (onDisk.empty() || onDisk.back() != size) onDisk.push_back(size);
    });
    send();

    EXPECT_THAT(std::vector(onDisk.begin(), onDisk.begin() + 7), ElementsAre(1, 200, 160, 128, 102, 100, 99));
    EXPECT_EQ(onDisk.back(), 1U);
    EXPECT_THAT(onDisk, SizeIs(5 + 100));
}

TEST_F(SendLoop, WhereverTheRunThroughALongListEndsTheListIsStored) {
    const auto living = headId();
    const auto listOf = [](std::vector<std::string> first) {
        first.resize(200, "more");
        return DocumentNames(first);
    };
    documetNameList->store(listOf({"gone_1", "gone_2", "gone_3", living}));
    machine.http->onStart = [&] { EXPECT_EQ(idsOnDisk(machine), pendingIds()); };
    send();
    EXPECT_EQ(headId(), living);

    documetNameList->store(listOf({"gone_4", "gone_5", "gone_6", ".."}));  // no name of a document
    EXPECT_EQ(linesOfAPass().back(), exceptionLine);
    EXPECT_EQ(headId(), "..");
    EXPECT_EQ(idsOnDisk(machine), pendingIds());
}

TEST_F(SendLoop, TheLastDocumentIsOffTheStoredListBeforeANewOneIsMade) {
    send();
    std::optional<std::vector<std::string>> onDisk;
    atLine("DEBUG_HARVELSTONE_CONFIG : documentID", [&] { onDisk = idsOnDisk(machine); });
    answer("{}");

    ASSERT_TRUE(onDisk);
    EXPECT_THAT(*onDisk, IsEmpty());
}

TEST_F(SendLoop, AnUploadedDocumentIsOffTheStoredListBeforeTheNextIsFilled) {
    const auto next = addNewVisit();
    send();
    std::vector<std::string> onDiskAtTheLastCommit;
    const auto files = recordFiles();
    files->beforeRename = [&] { onDiskAtTheLastCommit = idsOnDisk(machine); };
    answer("{}");

    EXPECT_EQ(files->committed.back(), storedFilePath(next));
    EXPECT_THAT(onDiskAtTheLastCommit, ElementsAre(next));
}

TEST_F(SendLoop, ARunThatAGateEndsHasStoredTheList) {
    expire(headId());
    const auto living = addNewVisit();
    setFateObserver([&](const std::string&, Fate) { machine.device->connected = false; });
    send();

    EXPECT_THAT(idsOnDisk(machine), ElementsAre(living));
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendLoop, ARunThatAnExceptionEndsHasStoredTheList) {
    expire(headId());
    const auto broken = addNewVisit();
    queueFor(broken, StaticValues::PAGES_FILE_PREFIX(), {{"no", "date"}});
    EXPECT_EQ(linesOfAPass().back(), exceptionLine);
    EXPECT_THAT(idsOnDisk(machine), ElementsAre(broken));
}

TEST_F(SendLoop, ARunThatAnErrorOfAnotherKindEndsHasStoredTheList) {
    expire(headId());
    const auto next = addNewVisit();
    setFateObserver([&](const std::string&, Fate) { breakClock(); });

    EXPECT_THROW(send(), std::runtime_error);
    EXPECT_THAT(idsOnDisk(machine), ElementsAre(next));
}

// ---- Exceptions ----

TEST_F(SendLoop, AnExceptionInThePassIsLoggedAndTheDocumentStays) {
    const auto id = headId();
    queue(StaticValues::PAGES_FILE_PREFIX(), {{"no", "date"}});

    EXPECT_THAT(linesOfAPass(), ElementsAre(listLine(), idLine(id), exceptionLine));
    EXPECT_THAT(pendingIds(), ElementsAre(id));
    EXPECT_FALSE(attempts(id));
    EXPECT_EQ(sentCount(), 0U);
}

TEST_F(SendLoop, AnExceptionAtThePagesLeavesTheQueuesBehindThemForTheNextPass) {
    queue(StaticValues::PAGES_FILE_PREFIX(), {{"no", "date"}});
    const std::vector prefixes{&StaticValues::CLICK_FILE_PREFIX(), &StaticValues::REVENUE_FILE_PREFIX(),
                               &StaticValues::PUSH_FILE_PREFIX()};
    for (const auto* prefix : prefixes) queue(*prefix, {{"a", 1}});
    send();
    EXPECT_EQ(sentCount(), 0U);

    send();
    const auto document = uploaded();
    EXPECT_THAT(*document.at(TrackType::TYPE_PAGES().typeValue()).list(), IsEmpty());
    EXPECT_THAT(*document.at(TrackType::TYPE_CLICK().typeValue()).list(), SizeIs(1));
    EXPECT_THAT(*document.at(TrackType::TYPE_REVENUE().typeValue()).list(), SizeIs(1));
    EXPECT_TRUE(document.contains(TrackType::TYPE_PUSH().typeValue()));
}

TEST_F(SendLoop, AnExceptionWhileTheListRefillsIsLogged) {
    SessionManager::sharedInstance().configure({{"ak", nullptr}});
    EXPECT_EQ(linesOf([&] { manager().nextSendDocument(); }).back(), exceptionLine);
    EXPECT_THAT(idsOnDisk(machine), IsEmpty());

    SessionManager::sharedInstance().configure({{"ak", "shop"}});
    send();
    EXPECT_THAT(pendingIds(), SizeIs(1));
}

TEST_F(SendLoop, AnErrorOfAnotherKindPassesOnToTheCaller) {
    breakClock();
    EXPECT_THROW(send(), std::runtime_error);
    EXPECT_THAT(pendingIds(), SizeIs(1));
}

TEST_F(SendLoop, TwoPassesSendTheHeadTwice) {
    send();
    send();

    EXPECT_EQ(sentCount(), 2U);
    EXPECT_EQ(machine.http->requests[0].document().dictionary()->at("session"),
              machine.http->requests[1].document().dictionary()->at("session"));
}

}  // namespace
}  // namespace harvelstone::testing
