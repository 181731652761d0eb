// Many variables set in one go, against the map's own index operation.

#include "vars/env_writer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace {

using Env = std::map<std::string, std::string>;

// What a map may hold beside them, in front, between and behind.
const Env kOthers[] = {{},
                       {{"", "kept"}, {"Z", "kept"}},
                       {{"b", "kept"}, {"chap-id", "kept"}, {"link-redirect", "kept"}},
                       {{"zz", "kept"}, {"uptime", "kept"}, {"vaq", "kept"}, {"a", "kept"}}};

// Sets each of them, in no order.
template <std::size_t... kPlaces>
void setAll(EnvWriter* vars, std::index_sequence<kPlaces...>) {
  constexpr std::size_t kStride = 17;
  static_assert(sizeof...(kPlaces) % kStride != 0);
  constexpr std::string_view kNames[] = {kReplyVars[kPlaces * kStride % sizeof...(kPlaces)]...};
  (vars->set(ReplyVar(kNames[kPlaces].data()), "new " + std::string(kNames[kPlaces])), ...);
}

void expectAllSetIn(Env env) {
  Env expected = env;
  for (const std::string_view name : kReplyVars) {
    expected[std::string(name)] = "new " + std::string(name);
  }
  EnvWriter vars(env);
  setAll(&vars, std::make_index_sequence<std::size(kReplyVars)>());
  vars.write();
  ASSERT_EQ(env, expected);
}

TEST(EnvWriter, SetsAllInAnEmptyMapTimeAndAgain) {
  for (int time = 0; time < 3; ++time) expectAllSetIn({});
}

TEST(EnvWriter, SetsWhatIsMissingAndReplacesWhatIsThere) {
  for (const Env& other : kOthers) {
    for (std::size_t each = 1; each <= 54; ++each) {
      Env env = other;
      for (std::size_t i = 0; i < std::size(kReplyVars); i += each) {
        env[std::string(kReplyVars[i])] = "old";
      }
      expectAllSetIn(env);
    }
    expectAllSetIn(other);
  }
}

// The first and the last of the table, two that are neighbours there, and one in the middle.
constexpr ReplyVar kVars[] = {"advert-pending", "blocked", "location-id", "username", "var"};

std::string nameOf(ReplyVar var) { return std::string(kReplyVars[var.place()]); }

TEST(EnvWriter, SetsSomeOfThemWhateverIsThere) {
  for (const Env& other : kOthers) {
    for (unsigned there = 0; there < 32; ++there) {
      for (unsigned set = 0; set < 32; ++set) {
        Env env = other;
        for (unsigned i = 0; i < 5; ++i) {
          if ((there >> i & 1) != 0) env[nameOf(kVars[i])] = "old";
        }
        Env expected = env;
        EnvWriter vars(env);
        for (unsigned i = 0; i < 5; ++i) {
          const unsigned each = i * 3 % 5;  // in no order
          if ((set >> each & 1) == 0) continue;
          vars.set(kVars[each], "new " + nameOf(kVars[each]));
          expected[nameOf(kVars[each])] = "new " + nameOf(kVars[each]);
        }
        vars.write();
        ASSERT_EQ(env, expected);
      }
    }
  }
}

TEST(EnvWriter, TakesTheLastValueAlsoAnEmptyOne) {
  Env env{{"kept", "1"}, {"uptime", "2"}};
  EnvWriter vars(env);
  vars.set("uptime", "3");
  vars.set("uptime", "");
  EXPECT_EQ(env["uptime"], "2");  // until it is written
  vars.write();
  EXPECT_EQ(env, (Env{{"kept", "1"}, {"uptime", ""}}));
}

}  // namespace
