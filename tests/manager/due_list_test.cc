// Sessions that are to be looked at.

#include "manager/due_list.h"

#include <gtest/gtest.h>

namespace {

using Addresses = std::vector<std::uint32_t>;

TEST(DueList, GivesWhatIsDueOnce) {
  manager::DueList list;
  list.put(1, 10);
  list.put(2, 11);
  list.put(3, 12);
  EXPECT_EQ(list.take(9), Addresses{});
  EXPECT_EQ(list.take(11), (Addresses{1, 2}));
  EXPECT_EQ(list.take(11), Addresses{});
  EXPECT_EQ(list.take(99), Addresses{3});
  EXPECT_EQ(list.size(), 0u);
}

TEST(DueList, EarlierMomentCounts) {
  manager::DueList list;
  list.put(1, 10);
  list.put(1, 20);
  list.put(2, 20);
  list.put(2, 10);
  EXPECT_EQ(list.take(10), (Addresses{1, 2}));
  EXPECT_EQ(list.take(20), Addresses{});
}

TEST(DueList, DroppedAddressIsNotGivenAndMayComeBack) {
  manager::DueList list;
  list.put(1, 10);
  list.drop(1);
  list.drop(7);
  EXPECT_EQ(list.take(10), Addresses{});
  list.put(1, 10);
  list.drop(1);
  list.put(1, 30);
  EXPECT_EQ(list.take(29), Addresses{});
  EXPECT_EQ(list.take(30), Addresses{1});
}

TEST(DueList, AddressThatWasPutDownTwiceForTheSameSecondIsGivenOnce) {
  manager::DueList list;
  list.put(1, 10);
  list.drop(1);
  list.put(1, 10);
  EXPECT_EQ(list.take(10), Addresses{1});
}

}  // namespace
