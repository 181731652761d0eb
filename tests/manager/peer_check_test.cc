// Who may talk to a socket.

#include "manager/peer_check.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace {

using manager::mayTalk;
using manager::Peer;

constexpr uid_t kOwn = 1000;

TEST(PeerCheck, AllowsRootAndTheManagersOwnUser) {
  EXPECT_TRUE(mayTalk({.pid = 1, .uid = 0, .groups = {}}, kOwn, std::nullopt));
  EXPECT_TRUE(mayTalk({.pid = 1, .uid = kOwn, .groups = {}}, kOwn, std::nullopt));
  EXPECT_FALSE(mayTalk({.pid = 1, .uid = 1001, .groups = {}}, kOwn, std::nullopt));
}

TEST(PeerCheck, AllowsMembersOfTheGroupWhereThereIsOne) {
  const Peer member{.pid = 1, .uid = 1001, .groups = {5, 77, 9}};
  EXPECT_TRUE(mayTalk(member, kOwn, 77));
  EXPECT_FALSE(mayTalk(member, kOwn, 78));
  EXPECT_FALSE(mayTalk(member, kOwn, std::nullopt));
  EXPECT_FALSE(mayTalk({.pid = 1, .uid = 1001, .groups = {0}}, kOwn, std::nullopt))
      << "group 0 is no root";
}

TEST(PeerCheck, KnowsTheProcessAtTheOtherEnd) {
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair), 0);
  const std::optional<Peer> peer = manager::peerOf(pair[0]);
  ASSERT_TRUE(peer);
  EXPECT_EQ(peer->uid, geteuid());
  EXPECT_EQ(peer->pid, getpid());
  EXPECT_NE(std::find(peer->groups.begin(), peer->groups.end(), getegid()), peer->groups.end());
  close(pair[0]);
  close(pair[1]);
  EXPECT_FALSE(manager::peerOf(-1));
}

}  // namespace
