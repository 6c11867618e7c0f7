#include <chrono>
#include <fstream>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harvelstone/api/Analytics.hpp"
#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/CurlHttpClient.hpp"
#include "harvelstone/services/BSDebugger.hpp"
#include "harvelstone/services/HarvelstoneCore.hpp"
#include "harvelstone/services/StorageFolder.hpp"

#include "tests/support/DocumentTest.hpp"
#include "tests/support/LoopbackServer.hpp"
#include "tests/support/TlsFront.hpp"

namespace harvelstone {
namespace {

using platform::InvalidArgumentException;
using ::testing::Contains;
using ::testing::HasSubstr;

/// Options over a folder of the test's own; the machine is installed by `configure`, as a host does it.
struct Configure : ::testing::Test {
    testing::TemporaryFolder documents;
    AnalyticsOptions options;

    Configure() {
        options.documentsFolder = documents.path();
        options.targetUri = "https://collect.example.com/documents";
    }

    void TearDown() override { testing::expectLedgerBalances(); }

    std::string reasonOfConfigure() const {
        try {
            Analytics::configure(options);
        } catch (const InvalidArgumentException& exception) {
            return exception.reason();
        }
        return "nothing was raised";
    }

    static std::shared_ptr<const Configuration> config() { return SessionManager::sharedInstance().getConfig(); }
};

TEST_F(Configure, StoresUnderTheFolderGiven) {
    Analytics::configure(options);
    EXPECT_EQ(storageFolder(), documents.path() + "/harvelstone/");
}

TEST_F(Configure, AppliesTheSettings) {
    options.appKey = "shop";
    options.appVersion = "2.1";
    options.vendorId = "vendor-1";
    options.returnVisitDays = 5;
    options.advertisingId = "ad-1";
    options.advertisingIdAllowed = true;
    options.userId = "user-1";
    Analytics::configure(options);

    EXPECT_EQ(config()->getTargetUri(), Value("https://collect.example.com/documents"));
    EXPECT_EQ(config()->getAk(), Value("shop"));
    EXPECT_EQ(config()->getApVr(), Value("2.1"));
    EXPECT_EQ(config()->getVenId(), Value("vendor-1"));
    EXPECT_EQ(config()->getReturnVisitDate(), 5);
    EXPECT_EQ(ProfileManager::sharedInstance().getAdvId(), Value("ad-1"));
    EXPECT_TRUE(ProfileManager::sharedInstance().getAdvIdFlag());
    EXPECT_EQ(ProfileManager::sharedInstance().getUserId(), Value("user-1"));
}

TEST_F(Configure, AnImeiIsUsedOnlyWhenItIsGiven) {
    Analytics::configure(options);
    EXPECT_FALSE(HarvelstoneCore::getFlagUseImei());

    AnalyticsOptions later;
    later.imei = "490154203237518";
    Analytics::configure(later);
    EXPECT_TRUE(HarvelstoneCore::getFlagUseImei());
}

TEST_F(Configure, ALaterCallChangesSettingsOnly) {
    Analytics::configure(options);
    AnalyticsOptions later;
    later.appVersion = "2.2";
    Analytics::configure(later);

    EXPECT_EQ(config()->getApVr(), Value("2.2"));
    EXPECT_EQ(config()->getTargetUri(), Value("https://collect.example.com/documents"));
}

TEST_F(Configure, SettingsMayComeAfterTheFirstUse) {
    setenv("XDG_DOCUMENTS_DIR", documents.path().c_str(), /*overwrite=*/1);
    Analytics::setConsent(true);  // takes the default machine into use
    AnalyticsOptions later;
    later.appVersion = "3.0";
    Analytics::configure(later);

    EXPECT_EQ(config()->getApVr(), Value("3.0"));
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("already"));
}

TEST_F(Configure, AfterTheFirstUseTheMainQueueStillRunsByItself) {
    setenv("XDG_DOCUMENTS_DIR", documents.path().c_str(), /*overwrite=*/1);
    Analytics::setConsent(true);  // takes the default machine into use
    Analytics::configure({});
    std::promise<void> task;
    platform::Platform::current().mainQueue->post([&] { task.set_value(); });

    EXPECT_EQ(task.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST_F(Configure, AMainQueueThatIsPumpedIsRefusedAfterTheFirstUse) {
    setenv("XDG_DOCUMENTS_DIR", documents.path().c_str(), /*overwrite=*/1);
    Analytics::setConsent(true);
    options.documentsFolder.reset();
    options.mainQueue = MainQueueChoice::pumpedByHost;

    EXPECT_THAT(reasonOfConfigure(), HasSubstr("already"));
}

TEST_F(Configure, AnotherSyncPolicyIsRefusedAfterTheFirstUse) {
    Analytics::configure(options);
    options.documentsFolder.reset();
    options.platform.syncPolicy = platform::SyncPolicy::processExit;

    EXPECT_THAT(reasonOfConfigure(), HasSubstr("already"));
}

TEST_F(Configure, AChoiceThatIsInForceMayBeMadeAgainOrLeftOut) {
    options.mainQueue = MainQueueChoice::pumpedByHost;
    options.platform.syncPolicy = platform::SyncPolicy::processExit;
    Analytics::configure(options);
    options.documentsFolder.reset();

    EXPECT_NO_THROW(Analytics::configure(options));
    EXPECT_NO_THROW(Analytics::configure({}));
    EXPECT_EQ(platform::Platform::current().syncPolicy, platform::SyncPolicy::processExit);
}

TEST_F(Configure, ASecondFolderIsRefused) {
    Analytics::configure(options);
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("already"));
}

TEST_F(Configure, TheCertificateAuthoritiesVouchForTheTarget) {
    const testing::CertificateAuthority authority;
    testing::LoopbackServer server;
    const testing::TlsFront front(authority.issue(), server.port());
    const auto file = documents.path() + "/authorities.pem";
    std::ofstream(file) << authority.certificate();
    options.targetUri = front.url();
    options.certificateAuthorities = file;
    Analytics::configure(options);
    Analytics::installReferrer({});

    EXPECT_EQ(Analytics::flush(std::chrono::seconds(20)).documentsSent, 1U);
    EXPECT_EQ(server.waitForRequests(1).size(), 1U);
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("already")) << "fixed from the first call on";
}

TEST_F(Configure, WithoutTheAuthoritiesOfTheTargetNothingIsSentToIt) {
    const testing::CertificateAuthority authority;
    testing::LoopbackServer server;
    const testing::TlsFront front(authority.issue(), server.port());
    options.targetUri = front.url();
    Analytics::configure(options);
    Analytics::installReferrer({});

    const auto receipt = Analytics::flush(std::chrono::seconds(20));

    EXPECT_EQ(receipt.documentsSent, 0U);
    EXPECT_EQ(receipt.documentsDropped.at("transport_failed"), 1U);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(Configure, SaysWhatIsWrongWithTheAuthorities) {
    options.certificateAuthorities = "";
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("certificateAuthorities is empty"));
    options.certificateAuthorities = documents.path() + "/none.pem";
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("none.pem\" cannot be read"));
    options.platform.httpClient = std::make_shared<platform::CurlHttpClient>();
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("default HTTP client"));
}

TEST_F(Configure, SaysWhichOptionIsWrong) {
    options.targetUri = "ftp://example.com";
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("targetUri \"ftp://example.com\""));
    options.targetUri.reset();
    options.visitTimeout = std::chrono::seconds(0);
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("visitTimeout"));
    options.visitTimeout.reset();
    options.documentsFolder = "";
    EXPECT_THAT(reasonOfConfigure(), HasSubstr("documentsFolder"));
}

TEST_F(Configure, TheDebugLogGoesToTheHost) {
    std::vector<std::string> lines;
    options.debug = true;
    options.debugLog = [&](std::string_view line) { lines.emplace_back(line); };
    Analytics::configure(options);
    BSDebugger::log(std::string_view("one line"));

    EXPECT_THAT(lines, Contains("one line"));
}

TEST_F(Configure, WhatTheHostsLogThrowsIsDropped) {
    options.debug = true;
    options.debugLog = [](std::string_view) { throw std::runtime_error("full"); };
    Analytics::configure(options);

    EXPECT_NO_THROW(Analytics::event("a", "b", "c"));
}

TEST_F(Configure, TheVisitTimeoutIsApplied) {
    const auto clock = std::make_shared<testing::FakeClock>();
    options.platform.clock = clock;
    options.visitTimeout = std::chrono::seconds(60);
    Analytics::configure(options);
    Analytics::startVisit();
    const auto first = DocumentManager::sharedInstance().getLaistDocId();
    clock->advance(61);
    Analytics::startVisit();

    EXPECT_NE(DocumentManager::sharedInstance().getLaistDocId(), first);
}

TEST_F(Configure, AMainQueueOfTheHostIsPumpedByTheHost) {
    options.mainQueue = MainQueueChoice::pumpedByHost;
    Analytics::configure(options);
    bool ran = false;
    platform::Platform::current().mainQueue->post([&] { ran = true; });
    EXPECT_FALSE(ran);
    Analytics::runMainQueue();

    EXPECT_TRUE(ran);
}

TEST_F(Configure, WithoutConsentShouldSendRefuses) {
    options.consent = false;
    Analytics::configure(options);
    EXPECT_FALSE(ProfileManager::sharedInstance().shouldSend(/*respectsServerWait=*/true));
}

}  // namespace
}  // namespace harvelstone
