// Page variables found one after the other, against the map's own search.

#include "template/var_index.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using Env = std::map<std::string, std::string>;

// Asks twice for each of the names, and for neighbours of them.
void expectLikeTheMap(const Env& env) {
  VarIndex index(env);
  const auto check = [&](const std::string& name) {
    const auto found = env.find(name);
    ASSERT_EQ(index.find(name), found == env.end() ? nullptr : &found->second)
        << name << " of " << env.size();
  };
  for (int round = 0; round < 2; ++round) {
    for (const auto& [name, value] : env) {
      check(name);
      check(name + "-esc");
      check(name.substr(0, name.size() / 2));
    }
    check("");
    check(std::string(1000, 'n'));
    check(std::string("a\0b", 3));
    check("\xFF\x80\xFE");
  }
}

TEST(VarIndex, FindsWhatTheMapFindsHoweverManyThereAre) {
  Env env;
  for (int count = 0; count <= 200; ++count) {
    expectLikeTheMap(env);
    env["name-" + std::to_string(count * 7919 % 1000)] = std::to_string(count);
  }
}

TEST(VarIndex, FindsNamesOfEveryByteAndLength) {
  Env env{{"", "empty"}, {std::string("a\0b", 3), "zero"}, {std::string("a\0c", 3), "zero"}};
  for (int byte = 0; byte < 256; byte += 5) env[std::string(1, static_cast<char>(byte))] = "byte";
  for (std::size_t length = 2; length < 40; ++length) env[std::string(length, 'n')] = "length";
  expectLikeTheMap(env);
}

// The same length and the same bytes where the table looks: all in one place of it.
TEST(VarIndex, FindsNamesThatShareAPlaceOfTheTable) {
  Env env;
  for (char second = 'a'; second <= 'z'; ++second) {
    for (const char third : {'a', 'b', 'c'}) {
      env[std::string("n") + second + third + "xxxx" + "n"] = "value";
    }
  }
  ASSERT_EQ(env.size(), 78u);
  expectLikeTheMap(env);
}

}  // namespace
