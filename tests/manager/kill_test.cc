// Killed at any moment under load, the manager keeps what it has answered.

#include <gtest/gtest.h>

#include "tests/manager/killed_load.h"

namespace {

TEST(ManagerKilled, AtAnyMomentKeepsWhatItAnswered) {
  ManagerProcess manager;
  manager.start();
  ASSERT_EQ(errorText(manager.askAdmin("user.add", R"({"name":"ann","password":"secret"})")), "");
  ASSERT_EQ(errorText(manager.askAdmin("profile.set", R"({"name":"default","shared-users":0})")),
            "");
  KilledLoad load(manager, false);
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    load.round();
  }
  EXPECT_GT(load.kept(), 100u) << "the manager was killed before anything happened";
}

}  // namespace
