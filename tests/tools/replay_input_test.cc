// The command line, the input as a stream of lines, bytes, and what a scenario may look like.

#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>

#include "tests/tools/program.h"
#include "tests/tools/replay_run.h"

namespace {

Json pageReply() {
  Json reply;
  reply["fields"]["0x2000044d"] = "$PAGES/";
  return reply;
}

// A page of that content, asked for by that name.
Json pageScenario(const std::string& name, const std::string& content) {
  Json scenario;
  scenario["request"]["relPath"] = name;
  scenario["replies"][0] = pageReply();
  scenario["pages"][name] = content;
  return scenario;
}

TEST(ReplayInput, NothingGivesNothing) {
  const Replayed replayed = replay("");
  EXPECT_EQ(replayed.status, 0);
  EXPECT_EQ(replayed.out, "");
  EXPECT_EQ(replayed.err, "");
}

TEST(ReplayInput, AnswersEachLineBeforeTheNextIsGiven) {
  Conversation conversation({TEST_REPLAY, "--module", TEST_MODULE});
  for (const std::string number : {"1", "2"}) {
    conversation.say("{\"call\":[\"ull2str\"," + number + "]}");
    EXPECT_EQ(conversation.hear().value_or("nothing"),
              "{\"name\":\"\",\"value\":\"" + number + "\"}");
  }
}

TEST(ReplayInput, SkipsBlankLinesAndNeedsNoLastLineEnd) {
  const Replayed replayed =
      replay("\n  \t\r\n{\"call\":[\"ull2str\",1]}\r\n\n \n\t{\"call\":[\"ull2str\",2]}");
  EXPECT_EQ(replayed.status, 0);
  EXPECT_EQ(replayed.out, "{\"name\":\"\",\"value\":\"1\"}\n{\"name\":\"\",\"value\":\"2\"}\n");
}

TEST(ReplayInput, FilesComeInTheOrderGiven) {
  const ScratchDir dir;
  const std::string one = dir.write("one", "{\"name\":\"1\",\"call\":[\"ull2str\",1]}\n");
  const std::string two = dir.write("two", "{\"name\":\"2\",\"call\":[\"ull2str\",2]}");
  const Replayed replayed = replay("{\"name\":\"unread\"}\n", {two, one, two});
  EXPECT_EQ(replayed.status, 0);
  ASSERT_EQ(replayed.results.size(), 3u);
  EXPECT_EQ(replayed.results[0]["name"], "2");
  EXPECT_EQ(replayed.results[1]["name"], "1");
  EXPECT_EQ(replayed.results[2]["name"], "2");
}

TEST(ReplayInput, InvalidScenarioInAnEarlierFileIsNotForgotten) {
  const ScratchDir dir;
  const std::string bad = dir.write("bad", "x\n");
  const std::string good = dir.write("good", "{\"call\":[\"ull2str\",1]}\n");
  EXPECT_EQ(replay("", {bad, good}).status, 1);
  EXPECT_EQ(replay("", {good, bad}).status, 1);
  EXPECT_EQ(replay("", {good, good}).status, 0);
}

TEST(ReplayInput, UnreadableFileEndsTheRunWithOneLine) {
  const ScratchDir dir;
  for (const std::string& path : {(dir.path() / "absent").string(), dir.path().string()}) {
    const Replayed replayed = replay("", {path});
    EXPECT_EQ(replayed.status, 2);
    EXPECT_EQ(replayed.out, "");
    EXPECT_NE(replayed.err.find(path), std::string::npos) << replayed.err;
    EXPECT_EQ(replayed.err.find('\n'), replayed.err.size() - 1) << replayed.err;
  }
}

TEST(ReplayInput, MissingModuleEndsTheRunWithOneLine) {
  const ScratchDir dir;
  const std::string path = dir.path() / "absent.so";
  const Ended ended = runProgram({TEST_REPLAY, "--module", path}, "{}\n", dir.path());
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.out, "");
  EXPECT_NE(ended.err.find(path), std::string::npos) << ended.err;
  EXPECT_EQ(ended.err.find('\n'), ended.err.size() - 1) << ended.err;
}

TEST(ReplayInput, LibraryThatIsNoModuleEndsTheRun) {
  const ScratchDir dir;
  const Ended ended = runProgram({TEST_REPLAY, "--module", "libc.so.6"}, "{}\n", dir.path());
  EXPECT_EQ(ended.status, 2);
  EXPECT_NE(ended.err.find("does not export"), std::string::npos) << ended.err;
}

TEST(ReplayInput, UnknownOptionEndsTheRun) { EXPECT_EQ(replay("{}\n", {"--modul"}).status, 2); }

TEST(ReplayInput, FindsItsOwnModule) {
  const ScratchDir dir;
  const Ended ended = runProgram({TEST_REPLAY}, "{\"call\":[\"ull2str\",5]}\n", dir.path());
  EXPECT_EQ(ended.out, "{\"name\":\"\",\"value\":\"5\"}\n") << ended.err;
}

TEST(ReplayInput, FullDiskEndsTheRun) {
  const ScratchDir dir;
  const Ended ended =
      runProgram({TEST_REPLAY, "--module", TEST_MODULE}, "{}\n", dir.path(), "/dev/full");
  EXPECT_EQ(ended.status, 2);
  EXPECT_NE(ended.err.find("cannot write"), std::string::npos) << ended.err;
}

TEST(ReplayBytes, OneCharacterIsOneByteBothWays) {
  std::string everyByte;  // as UTF-8
  for (int c = 0; c < 256; ++c) {
    if (c < 0x80) {
      everyByte += static_cast<char>(c);
    } else {
      everyByte += static_cast<char>(0xC0 | (c >> 6));
      everyByte += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  const Json result = replayOne(pageScenario("x.bin", everyByte));
  EXPECT_EQ(result["body"], everyByte);
  EXPECT_EQ(result["headers"][1], Json({"Content-Length", "256"}));
}

TEST(ReplayBytes, ResultsAreInAscii) {
  const Replayed replayed = replay(
      "{\"name\":\"\\u20ac \xE2\x82\xAC\",\"call\":[\"fixString\",\"\xC3\xA9\\u00ff\\u007f\"]}\n");
  EXPECT_EQ(replayed.out, "{\"name\":\"\\u20ac \\u20ac\",\"value\":\"\\u00e9\\u00ff\\u007f\"}\n");
}

TEST(ReplayBytes, NamesAreAnyText) {
  const Json result = replayOne({{"name", "a\n\"\xF0\x9F\x98\x80\x01"}, {"call", {"ull2str", 1}}});
  EXPECT_EQ(result["name"], "a\n\"\xF0\x9F\x98\x80\x01");
}

TEST(ReplayResult, KeysComeInTheirOrder) {
  const Json result = replayOne(Json::object());
  std::vector<std::string> keys;
  for (const auto& member : result.items()) keys.push_back(member.key());
  const std::vector<std::string> expected = {"name",      "status",       "reason",     "headers",
                                             "body",      "sendError",    "commands",   "debug",
                                             "keepAlive", "socketClosed", "initOrigDst"};
  EXPECT_EQ(keys, expected);
}

TEST(ReplayScenario, EverythingHasItsDefault) {
  char name[256] = {};
  ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
  Json scenario;
  scenario["request"]["relPath"] = "status";
  scenario["request"]["headers"][0] = Json::array({"user-agent", "LinkAgent"});
  scenario["replies"][0]["fields"]["0x08000003"] = 999999;
  const Json result = replayOne(scenario);
  const std::string body = result["body"];
  EXPECT_NE(body.find("\r\nidentity: " + std::string(name) + "\r\n"), std::string::npos) << body;
  EXPECT_NE(body.find("\r\nuptime-secs: 1\r\n"), std::string::npos) << body;
  EXPECT_NE(body.find("\r\nip: 10.5.50.2\r\n"), std::string::npos) << body;
  EXPECT_NE(body.find("\r\nserver-address: 10.5.50.1:80\r\n"), std::string::npos) << body;
  EXPECT_EQ(result["name"], "");
  EXPECT_EQ(result["debug"], "HSrv query: status\n");
  EXPECT_EQ(result["keepAlive"], Json({true, true}));
}

TEST(ReplayScenario, NothingIsSeenByTheNext) {
  Json first = pageScenario("x/y.html", "Y");
  first["uptime"] = 5;
  first["hostname"] = nullptr;
  first["debug"] = false;
  first["replies"][0]["error"] = {{"code", 0xfe0004}, {"text", "bye"}};
  Json second;
  second["request"]["relPath"] = "x/y.html";
  second["replies"][0] = pageReply();
  Json third = pageScenario("z.html", "%identity% %uptime-secs%");
  third["replies"][0]["fields"]["0x08000003"] = 0;
  third["hostname"] = "own";
  const Replayed together =
      replay(first.dump() + "\n" + second.dump() + "\n" + third.dump() + "\n");
  ASSERT_EQ(together.results.size(), 3u);
  EXPECT_EQ(together.results[0]["socketClosed"], true);
  EXPECT_EQ(together.results[1], replayOne(second));
  EXPECT_EQ(together.results[1]["sendError"], Json({404, ""}));
  EXPECT_EQ(together.results[1]["socketClosed"], false);
  EXPECT_EQ(together.results[2], replayOne(third));
  EXPECT_EQ(together.results[2]["body"], "own 1000000");
}

TEST(ReplayScenario, PageDirectoryIsShownByItsName) {
  Json scenario = pageScenario("a", "x");
  scenario["pages"] = {{"dir.html", nullptr}, {"deep/er", nullptr}, {"deep/er/file.txt", "F"}};
  scenario["request"]["relPath"] = "dir.html";
  const Json directory = replayOne(scenario);
  EXPECT_EQ(directory["debug"],
            "HSrv query: dir.html\nshowFile: file $PAGES/dir.html is not a regular file!\n");
  scenario["request"]["relPath"] = "deep/er/file.txt";
  EXPECT_EQ(replayOne(scenario)["body"], "F");
  scenario["replies"][0]["fields"]["0x2000044d"] = "$PAGES/deep/../";
  EXPECT_EQ(replayOne(scenario)["body"], "F");
}

TEST(ReplayScenario, PageDirectoryWithoutPagesIsThere) {
  Json scenario;
  scenario["request"]["relPath"] = ".";
  scenario["replies"][0] = pageReply();
  EXPECT_EQ(replayOne(scenario)["debug"],
            "HSrv query: .\nshowFile: file $PAGES/. is not a regular file!\n");
}

TEST(ReplayScenario, PlaceholderStandsOnlyForThePageDirectoryField) {
  Json scenario = pageScenario("x.html", "%username% $PAGES");
  scenario["replies"][0]["fields"]["0x20000001"] = "$PAGES";
  const Json result = replayOne(scenario);
  EXPECT_EQ(result["body"], "$PAGES $PAGES");
}

TEST(ReplayScenario, ManagerIsSilentWhenThereAreNoMoreReplies) {
  Json scenario;
  scenario["request"]["relPath"] = "x";
  const Json result = replayOne(scenario);
  EXPECT_EQ(result["commands"].size(), 1u);
  const std::string debug = result["debug"];
  EXPECT_NE(debug.find("get failed: hotspot manager did not answer in time\n"), std::string::npos);
}

TEST(ReplayScenario, FieldIdsMayHaveAnyNumberOfZeros) {
  for (const char* id : {"0x451", "0x00000451", "0x0000000000000000000451"}) {
    Json scenario = pageScenario("x.html", "%logged-in%");
    scenario["replies"][0]["fields"][id] = true;
    EXPECT_EQ(replayOne(scenario)["body"], "yes") << id;
  }
}

TEST(ReplayScenario, RawFieldsTakeBothCases) {
  Json scenario = pageScenario("x.html", "%mac%");
  scenario["replies"][0]["fields"]["0x3000000B"] = "aABbcCDdeEfF";
  EXPECT_EQ(replayOne(scenario)["body"], "AA:BB:CC:DD:EE:FF");
}

TEST(ReplayScenario, LongNumbersAreExact) {
  Json scenario = pageScenario("x.html", "%bytes-in% %bytes-out%");
  scenario["replies"][0]["fields"]["0x10000015"] = 18446744073709551615u;
  scenario["replies"][0]["fields"]["0x10000017"] = 9007199254740993u;
  EXPECT_EQ(replayOne(scenario)["body"], "18446744073709551615 9007199254740993");
}

TEST(ReplayScenario, MethodsAndProtocolsByNumber) {
  Json scenario;
  scenario["request"] = {{"method", 4}, {"protocol", 2}};
  EXPECT_EQ(replayOne(scenario)["sendError"],
            Json({503, "PUT method is not supported by hotspot"}));
  scenario["request"] = {{"method", 1}, {"protocol", 3}};
  EXPECT_EQ(replayOne(scenario)["sendError"],
            Json({503, "ftp protocol is not supported by hotspot"}));
}

TEST(ReplayScenario, CallWinsOverARequest) {
  Json scenario = pageScenario("x.html", "X");
  scenario["call"] = {"ull2str", 3};
  EXPECT_EQ(replayOne(scenario), Json({{"name", ""}, {"value", "3"}}));
}

TEST(ReplayScenario, CookieExpiresAfterItsLifetime) {
  Json scenario = pageScenario("alogin.html", "A");
  scenario["request"]["relPath"] = "login";
  scenario["replies"][0]["fields"]["0x451"] = true;
  scenario["replies"][0]["fields"]["0x080003ec"] = 42;
  scenario["replies"][0]["fields"]["0x0800041c"] = 86400;
  const std::time_t before = std::time(nullptr) + 86400;
  const Json result = replayOne(scenario);
  const std::time_t after = std::time(nullptr) + 86400;
  const std::string cookie = result["headers"][0][1];
  const std::string start = "loginID=42; expires=";
  ASSERT_EQ(cookie.substr(0, start.size()), start);
  std::tm broken{};
  const char* behindDate =
      strptime(cookie.c_str() + start.size(), "%a, %d-%b-%Y %H:%M:%S GMT", &broken);
  ASSERT_NE(behindDate, nullptr) << cookie;
  EXPECT_STREQ(behindDate, "; path=/login");
  const std::time_t expires = timegm(&broken);
  EXPECT_GE(expires, before);
  EXPECT_LE(expires, after);
}

TEST(ReplayLargeInput, FileOfSixteenMegabytes) {
  const std::string content(std::size_t{16} << 20, '%');
  const Json result = replayOne(pageScenario("x.bin", content));
  EXPECT_EQ(result["body"], content);
}

TEST(ReplayLargeInput, PageOfAMillionLiteralBytes) {
  std::string content;
  while (content.size() < 1000000) content += "0123456789 \\$ \n";
  EXPECT_EQ(replayOne(pageScenario("x.html", content))["body"], content);
}

TEST(ReplayLargeInput, PageOfOpenersOnly) {
  std::string dollars;
  for (int i = 0; i < 100000; ++i) dollars += "$(";
  EXPECT_EQ(replayOne(pageScenario("x.html", dollars))["body"], dollars);
  // Each pair is an empty directive, which is none.
  const std::string percents(100000, '%');
  EXPECT_EQ(replayOne(pageScenario("x.html", percents))["body"], percents);
}

TEST(ReplayLargeInput, BlocksTenThousandDeep) {
  std::string content;
  for (int i = 0; i < 10000; ++i) content += "$(if ip)";
  content += "x";
  for (int i = 0; i < 10000; ++i) content += "$(else)y$(endif)";
  EXPECT_EQ(replayOne(pageScenario("x.html", content))["body"], "x");
}

TEST(ReplayLargeInput, ThousandsOfScenariosEachWithItsResult) {
  std::string lines;
  for (int i = 0; i < 5000; ++i) {
    Json scenario = pageScenario("x" + std::to_string(i % 7) + ".html", "%uptime-secs%");
    scenario["name"] = std::to_string(i);
    scenario["uptime"] = i;
    scenario["replies"][0]["fields"]["0x08000003"] = 0;
    lines += scenario.dump() + "\n";
  }
  const Replayed replayed = replay(lines);
  EXPECT_EQ(replayed.status, 0);
  ASSERT_EQ(replayed.results.size(), 5000u);
  for (std::size_t i = 0; i < 5000; ++i) {
    ASSERT_EQ(replayed.results[i]["name"], std::to_string(i));
    ASSERT_EQ(replayed.results[i]["body"], std::to_string(i));
  }
}

}  // namespace
