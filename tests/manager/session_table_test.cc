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

TEST(SessionTable, GivesTheSessionBehindAnAddress) {
  SessionTable table;
  table.put(sessionAt(3, "ann"));
  table.put(sessionAt(1, "bob"));
  table.restore(sessionAt(2, "ann"));
  EXPECT_EQ(table.behind(0, "")->address, 1u);
  EXPECT_EQ(table.behind(1, "")->address, 2u);
  EXPECT_EQ(table.behind(3, ""), nullptr);
  EXPECT_EQ(table.behind(0, "ann")->address, 2u);
  EXPECT_EQ(table.behind(2, "ann")->address, 3u);
  EXPECT_EQ(table.behind(1, "bob"), nullptr);
  EXPECT_EQ(table.behind(0, "carl"), nullptr);
  table.erase(2);
  EXPECT_EQ(table.behind(0, "ann")->address, 3u);
}

TEST(SessionTable, RestoredSessionIsNotTakenBack) {
  SessionTable table;
  table.restore(sessionAt(1, "ann"));
  table.undo();
  EXPECT_NE(table.find(1), nullptr);
  EXPECT_TRUE(table.changed().empty());
}

TEST(SessionTable, TellsWhatIsNotWrittenOnceInTheOrderOfItsChange) {
  SessionTable table;
  for (std::uint32_t address = 1; address <= 3; ++address) table.put(sessionAt(address, "ann"));
  table.touch(2, 10);
  table.touch(1, 10);
  table.touch(2, 11);
  table.count(3, {1, 1, 1, 1});
  EXPECT_EQ(table.unwritten(), 3u);
  EXPECT_EQ(table.unwritten(2), (std::vector<std::uint32_t>{2, 1}));
  table.written(2);
  EXPECT_EQ(table.unwritten(9), (std::vector<std::uint32_t>{3}));
  table.touch(2, 12);
  EXPECT_EQ(table.unwritten(9), (std::vector<std::uint32_t>{3, 2}));
  table.erase(3);
  table.written(9);
  EXPECT_EQ(table.unwritten(), 0u);
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
