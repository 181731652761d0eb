// Many variables set one after the other, against the map's own index operation.

#include "vars/env_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

using Env = std::map<std::string, std::string>;

TEST(EnvWriter, SetsWhatIsMissingAndReplacesWhatIsThereInAnyOrder) {
  std::vector<std::string> names = {"", "a", "b", "ba", "c"};
  do {
    for (unsigned there = 0; there < 32; ++there) {
      Env env;
      for (unsigned i = 0; i < 5; ++i) {
        if ((there >> i & 1) != 0) env[names[i]] = "old";
      }
      Env expected = env;
      EnvWriter vars(env);
      for (const std::string& name : names) {
        vars.set(name, "new " + name);
        expected[name] = "new " + name;
        ASSERT_EQ(env, expected);
      }
    }
  } while (std::next_permutation(names.begin(), names.end()));
}

TEST(EnvWriter, LeavesOtherVariablesAndTakesTheLastValue) {
  Env env{{"kept", "1"}, {"set", "2"}};
  EnvWriter vars(env);
  vars.set("set", "3");
  vars.set("set", "");
  EXPECT_EQ(env, (Env{{"kept", "1"}, {"set", ""}}));
}

}  // namespace
