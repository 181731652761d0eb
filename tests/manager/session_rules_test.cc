// When sessions end, and what they may use.

#include "manager/session_rules.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using manager::Allowance;
using manager::applyTerms;
using manager::EndReason;
using manager::nextChange;
using manager::overdue;
using manager::Profile;
using manager::Session;
using manager::User;
namespace portal = manager::portal;

Session freshSession() {
  Session session;
  session.loginAt = 1000;
  session.lastActiveAt = 1000;
  return session;
}

TEST(SessionEnd, ComesWithTheLastSecondAndNotBefore) {
  Session session = freshSession();
  EXPECT_EQ(overdue(session, 1000000), std::nullopt);
  session.endAt = 1060;
  EXPECT_EQ(overdue(session, 1059), std::nullopt);
  EXPECT_EQ(overdue(session, 1060), EndReason::kSessionTime);
}

TEST(SessionEnd, ComesAfterIdleTimeSinceTheLastActivity) {
  Session session = freshSession();
  session.idleTimeoutSecs = 300;
  EXPECT_EQ(overdue(session, 1299), std::nullopt);
  EXPECT_EQ(overdue(session, 1300), EndReason::kIdle);
  session.lastActiveAt = 1200;
  EXPECT_EQ(overdue(session, 1300), std::nullopt);
}

TEST(SessionEnd, IsNotIdleBeforeTheClockOfItsLastActivity) {
  Session session = freshSession();
  session.idleTimeoutSecs = 1;
  EXPECT_EQ(overdue(session, 500), std::nullopt);
}

TEST(SessionEnd, ComesAtEachByteLimit) {
  for (const int which : {0, 1, 2}) {
    Session session = freshSession();
    if (which == 0) session.limits.in = 100;
    if (which == 1) session.limits.out = 100;
    if (which == 2) session.limits.total = 100;
    session.counters = {which == 1 ? 5u : 99u, 1, which == 1 ? 99u : 0u, 1};
    EXPECT_EQ(overdue(session, 1000), std::nullopt) << which;
    if (which == 1) {
      ++session.counters.bytesOut;
    } else if (which == 0) {
      ++session.counters.bytesIn;
    } else {
      session.counters.bytesOut = 1;
    }
    EXPECT_EQ(overdue(session, 1000), EndReason::kTraffic) << which;
  }
}

TEST(ClientState, GoesFromNormalToPendingToBlocked) {
  Profile profile;
  profile.advertUrls = {"http://ad.example/"};
  profile.advertIntervalSecs = 60;
  profile.advertLookSecs = 10;
  Session session = freshSession();
  session.advertDueAt = 1060;
  EXPECT_EQ(clientState(session, &profile, 1059), portal::kStateNormal);
  EXPECT_EQ(clientState(session, &profile, 1060), portal::kStateAdvertPending);
  EXPECT_EQ(clientState(session, &profile, 1069), portal::kStateAdvertPending);
  EXPECT_EQ(clientState(session, &profile, 1070), portal::kStateBlocked);
  profile.advertLookSecs = 0;
  EXPECT_EQ(clientState(session, &profile, 99999), portal::kStateAdvertPending);
  profile.advertUrls.clear();
  EXPECT_EQ(clientState(session, &profile, 99999), portal::kStateNormal);
  EXPECT_EQ(clientState(session, nullptr, 99999), portal::kStateNormal);
}

TEST(NextChange, IsTheEarliestOfWhatTimeAloneBrings) {
  Session session = freshSession();
  EXPECT_EQ(nextChange(session, nullptr, 1000), std::nullopt);
  session.endAt = 5000;
  EXPECT_EQ(nextChange(session, nullptr, 1000), 5000);
  session.idleTimeoutSecs = 300;
  EXPECT_EQ(nextChange(session, nullptr, 1000), 1300);
  session.lastActiveAt = 4900;
  EXPECT_EQ(nextChange(session, nullptr, 4950), 5000);
  EXPECT_EQ(nextChange(session, nullptr, 5000), 5000) << "over already";
}

TEST(NextChange, FollowsTheAdvertisement) {
  Profile profile;
  profile.advertUrls = {"http://a.example/"};
  profile.advertIntervalSecs = 60;
  profile.advertLookSecs = 20;
  Session session = freshSession();
  session.advertDueAt = 1060;
  EXPECT_EQ(nextChange(session, nullptr, 1000), std::nullopt);
  EXPECT_EQ(nextChange(session, &profile, 1000), 1060);
  EXPECT_EQ(nextChange(session, &profile, 1060), 1080);
  EXPECT_EQ(nextChange(session, &profile, 1080), std::nullopt);
  profile.advertLookSecs = 0;
  EXPECT_EQ(nextChange(session, &profile, 1060), std::nullopt) << "never blocked";
}

TEST(NextChange, PassesOverWhatNoMachineLivesToSee) {
  Session session = freshSession();
  session.idleTimeoutSecs = 0xffffffffffffffff;
  EXPECT_EQ(nextChange(session, nullptr, 1000), std::nullopt);
}

// Whatever the numbers are, nothing changes before the moment that is given, and something does
// then.
TEST(NextChange, AgreesWithTheRulesSecondBySecond) {
  for (unsigned bits = 0; bits < 64; ++bits) {
    Profile profile;
    profile.advertUrls = {"http://a.example/"};
    profile.advertIntervalSecs = 60;
    profile.advertLookSecs = (bits & 1) != 0 ? 7 : 0;
    Session session = freshSession();
    if ((bits & 2) != 0) session.endAt = (bits & 4) != 0 ? 1005 : 1020;
    if ((bits & 8) != 0) session.idleTimeoutSecs = (bits & 16) != 0 ? 3 : 30;
    if ((bits & 32) != 0) session.advertDueAt = 1004;
    const auto stateAt = [&](std::int64_t now) {
      return std::pair(overdue(session, now), clientState(session, &profile, now));
    };
    for (std::int64_t now = 998; now < 1040 && !overdue(session, now); ++now) {
      std::int64_t expected = now + 1;
      while (expected < 1100 && stateAt(expected) == stateAt(now)) ++expected;
      const auto next = nextChange(session, &profile, now);
      if (expected == 1100) {
        EXPECT_EQ(next, std::nullopt) << bits << " at " << now;
      } else {
        EXPECT_EQ(next, expected) << bits << " at " << now;
      }
    }
  }
}

TEST(Terms, TakeTheNearerOfProfileAndAllowance) {
  Profile profile;
  profile.sessionTimeSecs = 600;
  profile.idleTimeoutSecs = 120;
  profile.limits = {1000, 0, 5000};
  User user;
  user.allowedUptimeSecs = 1000;
  user.usedUptimeSecs = 300;
  user.allowed = {5000, 700, 6000};
  user.usedBytesIn = 400;
  user.usedBytesOut = 100;
  Session session = freshSession();
  ASSERT_EQ(
      applyTerms(&session, profile, user, {.uptimeSecs = 200, .bytesIn = 100, .bytesOut = 50}),
      Allowance::kLeft);
  EXPECT_EQ(session.endAt, 1500);  // 1000 - 300 - 200 left, the profile's 600 is farther
  EXPECT_EQ(session.idleTimeoutSecs, 120u);
  EXPECT_EQ(session.limits.in, 1000u);
  EXPECT_EQ(session.limits.out, 550u);
  EXPECT_EQ(session.limits.total, 5000u);
  EXPECT_EQ(session.advertDueAt, std::nullopt);
}

TEST(Terms, AreOpenWithoutLimits) {
  Session session = freshSession();
  ASSERT_EQ(applyTerms(&session, {}, {}, {}), Allowance::kLeft);
  EXPECT_EQ(session.endAt, std::nullopt);
  EXPECT_EQ(session.limits, manager::ByteLimits{});
}

TEST(Terms, RefuseAUsedUpAllowance) {
  Session session = freshSession();
  User user;
  user.allowedUptimeSecs = 100;
  user.usedUptimeSecs = 60;
  EXPECT_EQ(applyTerms(&session, {}, user, {.uptimeSecs = 39}), Allowance::kLeft);
  EXPECT_EQ(applyTerms(&session, {}, user, {.uptimeSecs = 40}), Allowance::kNoTime);
  user = {};
  user.allowed.in = 10;
  user.usedBytesIn = 10;
  EXPECT_EQ(applyTerms(&session, {}, user, {}), Allowance::kNoTraffic);
  user = {};
  user.allowed.out = 10;
  EXPECT_EQ(applyTerms(&session, {}, user, {.bytesOut = 11}), Allowance::kNoTraffic);
  user = {};
  user.allowed.total = 10;
  EXPECT_EQ(applyTerms(&session, {}, user, {.bytesIn = 5, .bytesOut = 4}), Allowance::kLeft);
  EXPECT_EQ(applyTerms(&session, {}, user, {.bytesIn = 5, .bytesOut = 5}), Allowance::kNoTraffic);
}

TEST(Terms, DateTheFirstAdvertisement) {
  Profile profile;
  profile.advertIntervalSecs = 60;
  Session session = freshSession();
  applyTerms(&session, profile, {}, {});
  EXPECT_EQ(session.advertDueAt, std::nullopt) << "no address, no advertisement";
  profile.advertUrls = {"http://ad.example/"};
  applyTerms(&session, profile, {}, {});
  EXPECT_EQ(session.advertDueAt, 1060);
}

TEST(SessionLength, StopsAtTheSessionsEnd) {
  Session session = freshSession();
  EXPECT_EQ(lasted(session, 1010), 10u);
  EXPECT_EQ(lasted(session, 900), 0u);
  session.endAt = 1060;
  EXPECT_EQ(lasted(session, 5000), 60u);
}

TEST(IdleTimeout, IsAWishWithinTheProfilesLimit) {
  Profile profile;
  EXPECT_EQ(manager::allowedIdleTimeout(0, &profile), 0u);
  EXPECT_EQ(manager::allowedIdleTimeout(900, &profile), 900u);
  profile.idleTimeoutSecs = 300;
  EXPECT_EQ(manager::allowedIdleTimeout(0, &profile), 300u) << "never is longer than 300";
  EXPECT_EQ(manager::allowedIdleTimeout(900, &profile), 300u);
  EXPECT_EQ(manager::allowedIdleTimeout(60, &profile), 60u);
  EXPECT_EQ(manager::allowedIdleTimeout(60, nullptr), 60u);
}

}  // namespace
