// What a restart finds of documents that waited or were on their way.

#include "tests/transmit/SendingTest.hpp"

namespace harvelstone::testing {
namespace {

using ::testing::SizeIs;

class Restart : public ::testing::Test {
  protected:
    static DocumentManager& start() {
        configureApp();
        auto& manager = DocumentManager::sharedInstance();
        endHold();
        return manager;
    }
    static nlohmann::json sent(const Machine& machine, std::size_t index) {
        return nlohmann::json::parse(machine.http->requests.at(index).json());
    }

    const TemporaryFolder documents_;
};

TEST_F(Restart, DocumentsOfEarlierLivesAreSentFirst) {
    life([&] {
        const Machine machine(documents_.path());
        start();
        QueueFile(StaticValues::GOAL_FILE_PREFIX() + pendingIds().back()).add({{"g3", 1}});
    });
    life([&] {
        const Machine machine(documents_.path());
        machine.clock->advance(60);
        auto& manager = start();
        ASSERT_THAT(pendingIds(), SizeIs(2));
        manager.sendDocument();
        EXPECT_EQ(sent(machine, 0).at("goal").at(0).at("g3"), 1);
    });
}

TEST_F(Restart, ADocumentKilledDuringItsUploadIsSentAgainWithItsAttemptsRaised) {
    lifeUntilKilled([&] {
        const Machine machine(documents_.path());
        auto& manager = start();
        QueueFile(StaticValues::GOAL_FILE_PREFIX() + pendingIds().back()).add({{"g3", 1}});
        machine.http->onStart = [] { dieHere(); };
        manager.sendDocument();
    });
    life([&] {
        const Machine machine(documents_.path());
        machine.clock->advance(60);
        start().sendDocument();

        EXPECT_EQ(sent(machine, 0).at("retry_count"), 2);
        ASSERT_EQ(sent(machine, 0).at("goal").size(), 1U);
        EXPECT_EQ(sent(machine, 0).at("goal").at(0).at("g3"), 1);
    });
}

TEST_F(Restart, WhatWasRetiredBeforeTheUploadStaysRetired) {
    lifeUntilKilled([&] {
        const Machine machine(documents_.path());
        auto& manager = start();
        auto session = currentSession();
        session.insert_or_assign(StaticValues::CREATE_TIME(), 0);
        (*currentDocument->load())->putDictionary(TrackType::TYPE_SESSION().typeValue(), session);
        machine.clock->advance(1);
        SessionManager::sharedInstance().endVisit();
        manager.createDocument();
        machine.http->onStart = [] { dieHere(); };
        manager.sendDocument();
    });
    life([&] {
        const Machine machine(documents_.path());
        machine.clock->advance(60);
        auto& manager = start();
        EXPECT_THAT(pendingIds(), SizeIs(2));
        manager.sendDocument();
        EXPECT_EQ(fateCounts()[Fate::expired], 0U);
        EXPECT_EQ(sent(machine, 0).at("retry_count"), 2);
    });
}

TEST_F(Restart, ARepeatThatADeadProcessOwedIsMadeByTheNextPass) {
    lifeUntilKilled([&] {
        const Machine machine(documents_.path());
        start().sendDocument();
        machine.http->answer(R"({"retry":true})");
        dieHere();
    });
    life([&] {
        const Machine machine(documents_.path());
        machine.clock->advance(60);
        start().sendDocument();
        EXPECT_EQ(sent(machine, 0).at("retry_count"), 2);
    });
}

}  // namespace
}  // namespace harvelstone::testing
