#include <gtest/gtest.h>

#include "harvelstone/services/SendPermission.hpp"

namespace harvelstone {
namespace {

constexpr double now = 1'479'259'200;

bool may(const SendPermission& permission, double time = now) {
    return maySend(permission, time, /*respectsServerWait=*/true);
}

bool mayWithoutWait(const SendPermission& permission, double time = now) {
    return maySend(permission, time, /*respectsServerWait=*/false);
}

SendPermission afterWaitOf(const Value& seconds) { return afterReply({}, {{"wait_seconds", seconds}}, now); }

constexpr SendPermission waiting{.waitBegun = now, .waitSeconds = 60};

TEST(MaySend, AtFirst) {
    EXPECT_TRUE(may({}));
    EXPECT_TRUE(mayWithoutWait({}));
}

TEST(MaySend, NeverWithoutConsent) {
    EXPECT_FALSE(may({.hasConsent = false}));
    EXPECT_FALSE(mayWithoutWait({.hasConsent = false}));
}

TEST(MaySend, NeverWhileTheServerStopsUs) {
    EXPECT_FALSE(may({.isStoppedByServer = true}));
    EXPECT_FALSE(mayWithoutWait({.isStoppedByServer = true}));
}

TEST(MaySend, OnceTheWaitIsOver) {
    EXPECT_FALSE(may(waiting, now));
    EXPECT_FALSE(may(waiting, now + 59));
    EXPECT_TRUE(may(waiting, now + 60));
    EXPECT_TRUE(may(waiting, now + 61));
}

TEST(MaySend, WhenTheClockShowsATimeBeforeTheWait) {
    EXPECT_TRUE(may(waiting, now - 1));
    EXPECT_TRUE(may(waiting, 0));
}

TEST(MaySend, DuringTheWaitWhenItIsNotToBeRespected) { EXPECT_TRUE(mayWithoutWait(waiting, now + 1)); }

TEST(AfterReply, WithoutInstructionsNothingChanges) {
    const SendPermission permission{
        .hasConsent = false, .isStoppedByServer = true, .waitBegun = now, .waitSeconds = 60};
    EXPECT_EQ(afterReply(permission, {}, now + 5), permission);
    EXPECT_EQ(afterReply(permission, {{"other", 1}, {"wait", 5}}, now + 5), permission);
}

TEST(AfterReply, TheServerStopsAndAllowsSending) {
    const auto stopped = afterReply({}, {{"send_allowed", false}}, now);
    EXPECT_TRUE(stopped.isStoppedByServer);
    EXPECT_FALSE(afterReply(stopped, {{"send_allowed", true}}, now).isStoppedByServer);
    EXPECT_TRUE(afterReply(stopped, {{"wait_seconds", 0}}, now).isStoppedByServer);
}

TEST(AfterReply, TheServerCannotGrantConsent) {
    EXPECT_FALSE(afterReply({.hasConsent = false}, {{"send_allowed", true}}, now).hasConsent);
}

TEST(AfterReply, AWaitBeginsNow) {
    EXPECT_EQ(afterWaitOf(60), waiting);
    EXPECT_EQ(afterWaitOf(0.5), (SendPermission{.waitBegun = now, .waitSeconds = 0.5}));
}

TEST(AfterReply, AWaitIsBoundedToADay) {
    EXPECT_EQ(afterWaitOf(86'400).waitSeconds, 86'400);
    EXPECT_EQ(afterWaitOf(86'401).waitSeconds, 86'400);
    EXPECT_EQ(afterWaitOf(1e300).waitSeconds, 86'400);
}

TEST(AfterReply, AWaitOfZeroOrLessEndsOne) {
    for (const double seconds : {0.0, -1.0, -1e300})
        EXPECT_EQ(afterReply(waiting, {{"wait_seconds", seconds}}, now), SendPermission()) << seconds;
}

TEST(AfterReply, ALaterWaitReplacesAnEarlierOne) {
    const auto later = afterReply(waiting, {{"wait_seconds", 5}}, now + 50);
    EXPECT_EQ(later, (SendPermission{.waitBegun = now + 50, .waitSeconds = 5}));
}

TEST(AfterReply, InstructionsOfAnotherKindAreIgnored) {
    const Value others[] = {nullptr, "false", 0, List(), Dictionary()};
    for (const auto& other : others) EXPECT_EQ(afterReply({}, {{"send_allowed", other}}, now), SendPermission());
    const Value noNumbers[] = {nullptr, "60", true, List(), Dictionary()};
    for (const auto& other : noNumbers) EXPECT_EQ(afterReply(waiting, {{"wait_seconds", other}}, now), waiting);
}

TEST(AfterConsent, GrantingItLiftsTheServersStopAndNotItsWait) {
    const SendPermission stopped{.hasConsent = false, .isStoppedByServer = true, .waitBegun = now, .waitSeconds = 60};
    EXPECT_EQ(afterConsent(stopped, /*granted=*/true), waiting);
}

TEST(AfterConsent, TakingItBackLeavesTheServersStop) {
    const auto permission = afterConsent({.isStoppedByServer = true}, /*granted=*/false);
    EXPECT_EQ(permission, (SendPermission{.hasConsent = false, .isStoppedByServer = true}));
}

TEST(StoredPermission, IsReadBackAsItWas) {
    const SendPermission permission{
        .hasConsent = false, .isStoppedByServer = true, .waitBegun = now + 0.5, .waitSeconds = 60};
    EXPECT_EQ(permissionFrom(toDictionary(permission)), permission);
    EXPECT_EQ(permissionFrom(toDictionary({})), SendPermission());
}

TEST(StoredPermission, ReadsWhatIsMissingOrOfAnotherKindAsFresh) {
    EXPECT_EQ(permissionFrom({}), SendPermission());
    EXPECT_EQ(
        permissionFrom({{"consent", 0}, {"stopped_by_server", "yes"}, {"wait_begun", true}, {"wait_seconds", "x"}}),
        SendPermission());
}

TEST(StoredPermission, IsBoundedEvenInADamagedFile) {
    EXPECT_EQ(permissionFrom({{"wait_begun", now}, {"wait_seconds", 1e300}}).waitSeconds, longestWait);
}

}  // namespace
}  // namespace harvelstone
