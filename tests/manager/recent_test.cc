// The map that forgets what was noted longest ago.

#include "manager/recent.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Map = manager::Recent<std::string, int>;

std::string known(const Map& map) {
  std::string keys;
  for (const char* key : {"a", "b", "c", "d"}) {
    if (map.find(key)) keys += key;
  }
  return keys;
}

TEST(Recent, StartsEachKeyAfreshAndKeepsIt) {
  Map map(3);
  EXPECT_EQ(map.find("a"), nullptr);
  EXPECT_EQ(map.note("a"), 0);
  map.note("a") = 7;
  EXPECT_EQ(map.note("a"), 7);
  EXPECT_EQ(*map.find("a"), 7);
  EXPECT_EQ(map.size(), 1u);
}

TEST(Recent, ForgetsWhatWasNotedLongestAgo) {
  Map map(3);
  for (const char* key : {"a", "b", "c", "a", "d"}) map.note(key);
  EXPECT_EQ(known(map), "acd");
  EXPECT_EQ(map.size(), 3u);
}

TEST(Recent, DoesNotTakeALookForANote) {
  Map map(2);
  for (const char* key : {"a", "b"}) map.note(key);
  map.find("a");
  map.note("c");
  EXPECT_EQ(known(map), "bc");
}

TEST(Recent, MakesRoomByForgetting) {
  Map map(2);
  for (const char* key : {"a", "b"}) map.note(key) = 1;
  map.forget("b");
  map.forget("nothing");
  map.note("c");
  EXPECT_EQ(known(map), "ac");
  EXPECT_EQ(map.note("b"), 0) << "nothing is left of what was forgotten";
}

TEST(Recent, HoldsOneEntryAtLeast) {
  Map map(0);
  map.note("a");
  map.note("b");
  EXPECT_EQ(known(map), "b");
}

}  // namespace
