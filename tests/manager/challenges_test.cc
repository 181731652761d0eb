// Challenges of login pages.

#include "manager/challenges.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using manager::Challenges;

TEST(Challenge, IsAnIdentifierAndSixteenFreshBytes) {
  Challenges challenges(10);
  std::set<std::string> seen;
  for (int i = 0; i < 200; ++i) {
    const std::string challenge = challenges.issue(1, 0);
    EXPECT_EQ(challenge.size(), 17u);
    EXPECT_TRUE(seen.insert(challenge.substr(1)).second) << "issued twice";
  }
}

TEST(Challenge, CountsOnce) {
  Challenges challenges(10);
  const std::string challenge = challenges.issue(1, 0);
  EXPECT_EQ(challenges.take(1, 5), std::vector<std::string>{challenge});
  EXPECT_TRUE(challenges.take(1, 5).empty());
}

TEST(Challenge, BelongsToItsClient) {
  Challenges challenges(10);
  challenges.issue(1, 0);
  EXPECT_TRUE(challenges.take(2, 0).empty());
  EXPECT_EQ(challenges.take(1, 0).size(), 1u);
}

TEST(Challenge, ExpiresAfterItsLifetime) {
  Challenges challenges(10);
  challenges.issue(1, 100);
  const std::string second = challenges.issue(1, 101);
  EXPECT_EQ(challenges.take(1, 100 + Challenges::kLifetimeSecs), std::vector<std::string>{second});
}

TEST(Challenge, OfTheLastFewPagesIsKept) {
  Challenges challenges(10);
  std::vector<std::string> issued;
  for (std::size_t i = 0; i < Challenges::kPerClient + 2; ++i)
    issued.push_back(challenges.issue(1, 0));
  const std::vector<std::string> newestFirst(issued.rbegin(), issued.rend() - 2);
  EXPECT_EQ(challenges.take(1, 0), newestFirst);
}

TEST(Challenges, ForgetTheClientThatAskedLongestAgo) {
  Challenges challenges(3);
  for (const std::uint32_t client : {1u, 2u, 3u}) challenges.issue(client, 0);
  challenges.issue(1, 0);  // the oldest is now 2
  challenges.issue(4, 0);
  EXPECT_EQ(challenges.clients(), 3u);
  EXPECT_TRUE(challenges.take(2, 0).empty());
  EXPECT_EQ(challenges.take(1, 0).size(), 2u);
  EXPECT_EQ(challenges.take(3, 0).size(), 1u);
}

}  // namespace
