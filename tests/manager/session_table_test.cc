// Sessions in memory.

#include "manager/session_table.h"

#include <gtest/gtest.h>

namespace {

using manager::Session;
using manager::SessionTable;

Session sessionAt(std::uint32_t address, const std::string& account) {
  Session session;
  session.address = address;
  session.account = account;
  return session;
}

TEST(SessionTable, CountsTheSessionsOfEachAccount) {
  SessionTable table;
  table.put(sessionAt(1, "ann"));
  table.put(sessionAt(2, "ann"));
  table.put(sessionAt(3, "bob"));
  EXPECT_EQ(table.addressesOf("ann"), (std::vector<std::uint32_t>{1, 2}));
  table.put(sessionAt(2, "bob"));  // another account takes the address over
  EXPECT_EQ(table.addressesOf("ann"), (std::vector<std::uint32_t>{1}));
  EXPECT_EQ(table.addressesOf("bob"), (std::vector<std::uint32_t>{2, 3}));
  table.erase(1);
  EXPECT_TRUE(table.addressesOf("ann").empty());
  EXPECT_EQ(table.find(1), nullptr);
  EXPECT_EQ(table.size(), 2u);
}

TEST(SessionTable, UndoTakesEveryChangeSinceKeepBack) {
  SessionTable table;
  Session ann = sessionAt(1, "ann");
  table.put(ann);
  table.keep();
  ann.idleTimeoutSecs = 5;
  table.put(ann);
  ann.idleTimeoutSecs = 6;
  table.put(ann);
  table.put(sessionAt(2, "bob"));
  table.erase(1);
  table.undo();
  ASSERT_NE(table.find(1), nullptr);
  EXPECT_EQ(table.find(1)->idleTimeoutSecs, 0u);
  EXPECT_EQ(table.find(2), nullptr);
  EXPECT_TRUE(table.addressesOf("bob").empty());
  EXPECT_EQ(table.addressesOf("ann"), (std::vector<std::uint32_t>{1}));
}

TEST(SessionTable, UndoLeavesWhatIsKnownOfTheClient) {
  SessionTable table;
  table.put(sessionAt(1, "ann"));
  table.keep();
  table.touch(1, 77);
  EXPECT_TRUE(table.count(1, {10, 1, 20, 2}));
  EXPECT_FALSE(table.count(1, {10, 1, 20, 2})) << "nothing new";
  EXPECT_FALSE(table.count(9, {10, 1, 20, 2})) << "no session";
  table.undo();
  EXPECT_EQ(table.find(1)->lastActiveAt, 77);
  EXPECT_EQ(table.find(1)->counters.bytesOut, 20u);
}

}  // namespace
