// Messages far longer than what can be sent to a real manager: replies that hold a page's worth of
// text, and requests with a parameter of any length.

#include <gtest/gtest.h>

#include <chrono>

#include "tests/tools/replay_run.h"

namespace {

// A status page that shows the manager's own message between brackets.
Json messageScenario(const std::string& message) {
  Json scenario;
  scenario["request"]["relPath"] = "status";
  scenario["replies"][0]["fields"] = {{"0x2000044d", "$PAGES/"}, {"0x20000454", message}};
  scenario["pages"]["status.html"] = "[$(error)]";
  return scenario;
}

// The value of a field of the first command, null when it has no such field.
Json fieldOf(const Json& result, const std::string& id) {
  for (const Json& field : result["commands"][0]["fields"]) {
    if (field[0] == id) return field[1];
  }
  return nullptr;
}

std::size_t count(const Json& result) { return result["commands"][0]["fields"].size(); }

TEST(ReplayLongMessage, PageMessageOfAMillionOpenersIsShownAsItIs) {
  std::string openers;
  for (int i = 0; i < 1000000; ++i) openers += "$(";
  const auto start = std::chrono::steady_clock::now();
  const Json result = replayOne(messageScenario(openers));
  // A fraction of a second in step with the length; hours if each opener looked for its end anew.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  EXPECT_EQ(result["status"], 200);
  EXPECT_TRUE(result["body"] == "[" + openers + "]");
}

TEST(ReplayLongMessage, ReplyJustAboveWhatCanBeSentIsShownWhole) {
  for (const std::size_t length : {65535u, 65536u, 65537u, 70000u}) {
    const std::string text(length, 'x');
    EXPECT_TRUE(replayOne(messageScenario(text))["body"] == "[" + text + "]") << length;
  }
}

// No field of the command is lost beside the long one.
TEST(ReplayLongMessage, LongParameterStandsWholeInTheCommand) {
  Json scenario;
  scenario["request"] = {{"relPath", "login"}, {"query", "username=joe&password=secret"}};
  scenario["replies"][0]["fields"]["0x2000044d"] = "$PAGES/";
  scenario["pages"]["login.html"] = "x";
  const std::size_t fields = count(replayOne(scenario));

  const std::string name(std::size_t{200} << 10, 'n');
  scenario["request"]["query"] = "username=" + name + "&password=secret";
  const Json byName = replayOne(scenario);
  EXPECT_TRUE(fieldOf(byName, "0x20000001") == name);
  EXPECT_EQ(fieldOf(byName, "0x200003eb"), "secret");
  EXPECT_EQ(fieldOf(byName, "0x08ff0007"), 2);
  EXPECT_EQ(fieldOf(byName, "0x080003e9"), 168112642);
  EXPECT_EQ(count(byName), fields);

  scenario["request"]["query"] = "username=joe&password=" + name;
  const Json byPassword = replayOne(scenario);
  EXPECT_EQ(fieldOf(byPassword, "0x20000001"), "joe");
  EXPECT_TRUE(fieldOf(byPassword, "0x200003eb") == name);
  EXPECT_EQ(count(byPassword), fields);
}

}  // namespace
