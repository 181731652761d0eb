// Scenarios that cannot be played: the run says why and where, and goes on.

#include <gtest/gtest.h>

#include <ostream>

#include "tests/tools/replay_run.h"

namespace {

struct InvalidCase {
  const char* title;
  const char* line;  // of the scenario, with "name":"n" unless the name is what is wrong
  const char* path;  // what the text begins with
};

// What a list of the tests shows of a case.
void PrintTo(const InvalidCase& invalid, std::ostream* out) { *out << invalid.line; }

const InvalidCase kCases[] = {
    {"UnknownKey", R"({"name":"n","pagse":{}})", "pagse: "},
    {"UnknownRequestKey", R"({"name":"n","request":{"Path":"/"}})", "request.Path: "},
    {"UnknownReplyKey", R"({"name":"n","replies":[{},{"field":{}}]})", "replies[1].field: "},
    {"UnknownErrorKey", R"({"name":"n","replies":[{"error":{"code":1,"text":"","x":1}}]})",
     "replies[0].error.x: "},
    {"KeyTwice", R"({"name":"n","debug":true,"debug":true})", "debug: "},
    {"RequestKeyTwice", R"({"name":"n","request":{"path":"/","path":"/"}})", "request.path: "},
    {"FieldKeyTwice", R"({"name":"n","replies":[{},{"fields":{"0x1":true,"0x1":true}}]})",
     "replies[1].fields.0x1: "},
    {"FieldTwiceByAnotherSpelling",
     R"({"name":"n","replies":[{"fields":{"0x1":true,"0x01":true}}]})", "replies[0].fields.0x01: "},
    {"RequestIsNoObject", R"({"name":"n","request":[]})", "request: "},
    {"RepliesAreNoArray", R"({"name":"n","replies":{}})", "replies: "},
    {"ReplyIsNoObject", R"({"name":"n","replies":[1]})", "replies[0]: "},
    {"FieldsAreNoObject", R"({"name":"n","replies":[{"fields":[]}]})", "replies[0].fields: "},
    {"ErrorIsNoObject", R"({"name":"n","replies":[{"error":1}]})", "replies[0].error: "},
    {"ErrorIsNull", R"({"name":"n","replies":[{"error":null}]})", "replies[0].error: "},
    {"PagesAreNoObject", R"({"name":"n","pages":"x"})", "pages: "},
    {"UptimeIsText", R"({"name":"n","uptime":"1"})", "uptime: "},
    {"UptimeIsTooLarge", R"({"name":"n","uptime":4294967296})", "uptime: "},
    {"UptimeIsNegative", R"({"name":"n","uptime":-1})", "uptime: "},
    {"UptimeIsAFraction", R"({"name":"n","uptime":1.0})", "uptime: "},
    {"UptimeHasAnExponent", R"({"name":"n","uptime":1e3})", "uptime: "},
    {"HostNameIsANumber", R"({"name":"n","hostname":1})", "hostname: "},
    {"HostNameIsTooLong",
     R"({"name":"n","hostname":"12345678901234567890123456789012345678901234567890123456789012345"})",
     "hostname: "},
    {"DebugIsANumber", R"({"name":"n","debug":1})", "debug: "},
    {"DebugSwitchIsNull", R"({"name":"n","debugSwitch":null})", "debugSwitch: "},
    {"MethodIsUnknown", R"({"name":"n","request":{"method":"get"}})", "request.method: "},
    {"MethodIsTooLarge", R"({"name":"n","request":{"method":10}})", "request.method: "},
    {"MethodIsNull", R"({"name":"n","request":{"method":null}})", "request.method: "},
    {"MethodIsAFraction", R"({"name":"n","request":{"method":1.0}})", "request.method: "},
    {"ProtocolIsUnknown", R"({"name":"n","request":{"protocol":"gopher"}})", "request.protocol: "},
    {"ProtocolIsTooLarge", R"({"name":"n","request":{"protocol":4}})", "request.protocol: "},
    {"PathIsANumber", R"({"name":"n","request":{"path":1}})", "request.path: "},
    {"PathHasAWideCharacter", R"({"name":"n","request":{"path":"\u0100"}})", "request.path: "},
    {"PathHasAWideCharacterAsBytes", "{\"name\":\"n\",\"request\":{\"path\":\"\xE2\x82\xAC\"}}",
     "request.path: "},
    {"RelPathIsNull", R"({"name":"n","request":{"relPath":null}})", "request.relPath: "},
    {"QueryIsNull", R"({"name":"n","request":{"query":null}})", "request.query: "},
    {"HeadersAreAnObject", R"({"name":"n","request":{"headers":{"a":"b"}}})", "request.headers: "},
    {"HeaderHasOneValue", R"({"name":"n","request":{"headers":[["a","b"],["c"]]}})",
     "request.headers[1]: "},
    {"HeaderValueIsANumber", R"({"name":"n","request":{"headers":[["a",1]]}})",
     "request.headers[0][1]: "},
    {"HeaderNameHasAWideCharacter", R"({"name":"n","request":{"headers":[["\u20ac",""]]}})",
     "request.headers[0][0]: "},
    {"BodyIsABool", R"({"name":"n","request":{"body":false}})", "request.body: "},
    {"BodyFailsIsANumber", R"({"name":"n","request":{"bodyFails":0}})", "request.bodyFails: "},
    {"AddressHasThreeParts", R"({"name":"n","request":{"clientAddr":"10.5.50"}})",
     "request.clientAddr: "},
    {"AddressIsTooLarge", R"({"name":"n","request":{"clientAddr":"10.5.50.256"}})",
     "request.clientAddr: "},
    {"AddressHasMore", R"({"name":"n","request":{"localAddr":"10.5.50.1 "}})",
     "request.localAddr: "},
    {"AddressHasMoreBehindAZeroByte", R"({"name":"n","request":{"localAddr":"10.5.50.1\u0000x"}})",
     "request.localAddr: "},
    {"SslIsText", R"({"name":"n","request":{"ssl":"true"}})", "request.ssl: "},
    {"ForeignDstIsNull", R"({"name":"n","request":{"foreignDst":null}})", "request.foreignDst: "},
    {"DstHostIsEmpty", R"({"name":"n","request":{"dstHost":""}})", "request.dstHost: "},
    {"DstHostIsFalse", R"({"name":"n","request":{"dstHost":false}})", "request.dstHost: "},
    {"ConnFlagsAreText", R"({"name":"n","request":{"connFlags":"0x10000000"}})",
     "request.connFlags: "},
    {"ConnFlagsAreTooLarge", R"({"name":"n","request":{"connFlags":4294967296}})",
     "request.connFlags: "},
    {"OrigDstHasOneWord", R"({"name":"n","request":{"origDst":[1]}})", "request.origDst: "},
    {"OrigDstHasThreeWords", R"({"name":"n","request":{"origDst":[1,2,3]}})", "request.origDst: "},
    {"OrigDstIsTooLarge", R"({"name":"n","request":{"origDst":[1,4294967296]}})",
     "request.origDst[1]: "},
    {"InitOrigDstIsText", R"({"name":"n","request":{"initOrigDst":["1",2]}})",
     "request.initOrigDst[0]: "},
    {"PageNameIsAbsolute", R"({"name":"n","pages":{"/etc/x":"x"}})", "pages[\"/etc/x\"]: "},
    {"PageNameGoesUp", R"({"name":"n","pages":{"a/../../x":"x"}})", "pages[\"a/../../x\"]: "},
    {"PageNameHasTwoDots", R"({"name":"n","pages":{"a..b":"x"}})", "pages[\"a..b\"]: "},
    {"PageNameIsEmpty", R"({"name":"n","pages":{"":"x"}})", "pages[\"\"]: "},
    {"PageNameHasAZeroByte", R"({"name":"n","pages":{"a\u0000":"x"}})", "pages[\"a\\u0000\"]: "},
    {"PageNameHasAWideCharacter", R"({"name":"n","pages":{"\u0100":"x"}})",
     "pages[\"\xC4\x80\"]: "},
    {"PageIsANumber", R"({"name":"n","pages":{"a":1}})", "pages.a: "},
    {"PageHasAWideCharacter", R"({"name":"n","pages":{"a":"\u2028"}})", "pages.a: "},
    {"PageInAFile", R"({"name":"n","pages":{"a":"x","a/b":"y"}})", "pages[\"a/b\"]: "},
    {"PageIsADirectoryToo", R"({"name":"n","pages":{"a/b":"y","a":"x"}})", "pages.a: "},
    {"FieldIdHasNoPrefix", R"({"name":"n","replies":[{"fields":{"451":true}}]})",
     "replies[0].fields.451: "},
    {"FieldIdHasAnUpperCasePrefix", R"({"name":"n","replies":[{"fields":{"0X451":true}}]})",
     "replies[0].fields.0X451: "},
    {"FieldIdHasNoDigits", R"({"name":"n","replies":[{"fields":{"0x":true}}]})",
     "replies[0].fields.0x: "},
    {"FieldIdHasAnotherLetter", R"({"name":"n","replies":[{"fields":{"0x45g":true}}]})",
     "replies[0].fields.0x45g: "},
    {"FieldIdIsTooLarge", R"({"name":"n","replies":[{"fields":{"0x100000451":true}}]})",
     "replies[0].fields.0x100000451: "},
    {"FieldIdHasNoKnownType", R"({"name":"n","replies":[{"fields":{"0x21000001":"x"}}]})",
     "replies[0].fields.0x21000001: "},
    {"BoolFieldIsANumber", R"({"name":"n","replies":[{"fields":{"0x451":1}}]})",
     "replies[0].fields.0x451: "},
    {"NumberFieldIsTooLarge", R"({"name":"n","replies":[{"fields":{"0x8000011":4294967296}}]})",
     "replies[0].fields.0x8000011: "},
    {"NumberFieldIsABool", R"({"name":"n","replies":[{"fields":{"0x8000011":true}}]})",
     "replies[0].fields.0x8000011: "},
    {"LongFieldIsTooLarge",
     R"({"name":"n","replies":[{"fields":{"0x10000015":18446744073709551616}}]})",
     "replies[0].fields.0x10000015: "},
    {"LongFieldIsNegative", R"({"name":"n","replies":[{"fields":{"0x10000015":-1}}]})",
     "replies[0].fields.0x10000015: "},
    {"LongFieldIsText", R"({"name":"n","replies":[{"fields":{"0x10000015":"1"}}]})",
     "replies[0].fields.0x10000015: "},
    {"TextFieldIsNull", R"({"name":"n","replies":[{"fields":{"0x20000001":null}}]})",
     "replies[0].fields.0x20000001: "},
    {"TextFieldHasAWideCharacter", R"({"name":"n","replies":[{"fields":{"0x20000001":"\u0101"}}]})",
     "replies[0].fields.0x20000001: "},
    {"RawFieldHasAnOddDigit", R"({"name":"n","replies":[{"fields":{"0x30000439":"012"}}]})",
     "replies[0].fields.0x30000439: "},
    {"RawFieldHasAnotherLetter", R"({"name":"n","replies":[{"fields":{"0x30000439":"0g"}}]})",
     "replies[0].fields.0x30000439: "},
    {"RawFieldHasAPrefix", R"({"name":"n","replies":[{"fields":{"0x30000439":"0x01"}}]})",
     "replies[0].fields.0x30000439: "},
    {"ArrayFieldIsANumber", R"({"name":"n","replies":[{"fields":{"0x88ff0001":1}}]})",
     "replies[0].fields.0x88ff0001: "},
    {"ArrayFieldHoldsTooLarge",
     R"({"name":"n","replies":[{"fields":{"0x88ff0001":[1,4294967296]}}]})",
     "replies[0].fields.0x88ff0001[1]: "},
    {"ErrorHasNoCode", R"({"name":"n","replies":[{"error":{"text":"x"}}]})", "replies[0].error: "},
    {"ErrorHasNoText", R"({"name":"n","replies":[{"error":{"code":1}}]})", "replies[0].error: "},
    {"ErrorCodeIsText", R"({"name":"n","replies":[{"error":{"code":"1","text":"x"}}]})",
     "replies[0].error.code: "},
    {"ErrorTextIsANumber", R"({"name":"n","replies":[{"error":{"code":1,"text":1}}]})",
     "replies[0].error.text: "},
    {"CallIsText", R"({"name":"n","call":"ull2str"})", "call: "},
    {"CallIsEmpty", R"({"name":"n","call":[]})", "call: "},
    {"CallOfANumber", R"({"name":"n","call":[1,2]})", "call[0]: "},
    {"CallOfAnotherFunction", R"({"name":"n","call":["createServlet"]})", "call[0]: "},
    {"CallHasNoArgument", R"({"name":"n","call":["ull2str"]})", "call: "},
    {"CallHasTwoArguments", R"({"name":"n","call":["ull2str",1,2]})", "call: "},
    {"CallHasNoFormat", R"({"name":"n","call":["num2str",1]})", "call: "},
    {"CallHasAnotherFormat", R"({"name":"n","call":["num2str",1,"%s"]})", "call[2]: "},
    {"CallArgumentIsANumber", R"({"name":"n","call":["bin2oct",1]})", "call[1]: "},
    {"CallArgumentIsText", R"({"name":"n","call":["getTimeStr","1"]})", "call[1]: "},
    {"CallArgumentHasAWideCharacter", R"({"name":"n","call":["bin2oct","\u0100"]})", "call[1]: "},
    {"TimeIsTooLarge", R"({"name":"n","call":["getTimeStr",4294967296]})", "call[1]: "},
    {"DateIsTooLarge", R"({"name":"n","call":["getDateTimeStr",4294967296]})", "call[1]: "},
    {"NumberIsTooLarge", R"({"name":"n","call":["num2str",4294967296,"%u"]})", "call[1]: "},
    {"LongNumberIsTooLarge", R"({"name":"n","call":["ull2str",18446744073709551616]})",
     "call[1]: "},
    {"BytesAreNegative", R"({"name":"n","call":["getNiceBytes",-1]})", "call[1]: "},
};

class InvalidScenario : public testing::TestWithParam<InvalidCase> {};

TEST_P(InvalidScenario, IsNamedWithThePathAndTheRunGoesOn) {
  const Replayed replayed =
      replay(std::string(GetParam().line) + "\n{\"name\":\"next\",\"call\":[\"ull2str\",7]}\n");
  EXPECT_EQ(replayed.status, 1);
  EXPECT_EQ(replayed.err, "");
  ASSERT_EQ(replayed.results.size(), 2u);
  const Json& result = replayed.results[0];
  ASSERT_EQ(result.size(), 2u) << result;
  EXPECT_EQ(result["name"], "n");
  const std::string why = result["invalid"];
  const std::string path = GetParam().path;
  EXPECT_EQ(why.substr(0, path.size()), path);
  EXPECT_GT(why.size(), path.size());
  EXPECT_EQ(replayed.results[1]["value"], "7");
}

INSTANTIATE_TEST_SUITE_P(Table, InvalidScenario, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.title); });

TEST(InvalidScenarioName, IsNullWhereItCannotBeRead) {
  for (const char* line :
       {"nonsense", "{", "{\"name\":\"n\"", "{\"name\":\"n\"} x", "[1]", "1", "\"n\"", "null",
        "{\"name\":1}", "{\"name\":null}", "{\"name\":\"n\",\"name\":\"n\"}", "{\"name\":\"\xFF\"}",
        "{\"name\":\"n\",}", "{'name':'n'}", "{\"name\":\"n\",\"uptime\":NaN}",
        "{\"name\":\"n\",\"uptime\":1e999}", "{\"name\":\"\\ud800\"}"}) {
    const Replayed replayed = replay(std::string(line) + "\n");
    EXPECT_EQ(replayed.status, 1) << line;
    ASSERT_EQ(replayed.results.size(), 1u) << line;
    EXPECT_EQ(replayed.results[0]["name"], nullptr) << line;
    EXPECT_TRUE(replayed.results[0]["invalid"].is_string()) << line;
  }
}

TEST(InvalidScenarioName, IsTheDefaultWhereItIsNotGiven) {
  const Replayed replayed = replay("{\"x\":1}\n");
  EXPECT_EQ(replayed.out, "{\"name\":\"\",\"invalid\":\"x: unknown key\"}\n");
}

TEST(InvalidScenario, HostileNestingIsNoMoreThanInvalid) {
  const std::string deep(200000, '[');
  const std::string closers(200000, ']');
  const Replayed replayed = replay("{\"name\":\"n\",\"x\":" + deep + closers + "}\n" + deep + "\n");
  EXPECT_EQ(replayed.status, 1);
  ASSERT_EQ(replayed.results.size(), 2u);
  EXPECT_EQ(replayed.results[0]["invalid"], "x: unknown key");
  EXPECT_EQ(replayed.results[1]["name"], nullptr);
}

TEST(InvalidScenario, EveryPrefixOfAScenarioIsInvalid) {
  const std::string whole =
      R"({"name":"n","request":{"path":"/login"},"replies":[{"fields":{"0x451":true}}]})";
  std::string lines;
  for (std::size_t length = 1; length < whole.size(); ++length) {
    lines += whole.substr(0, length) + "\n";
  }
  const Replayed replayed = replay(lines);
  EXPECT_EQ(replayed.status, 1);
  ASSERT_EQ(replayed.results.size(), whole.size() - 1);
  for (const Json& result : replayed.results) EXPECT_TRUE(result.contains("invalid")) << result;
}

}  // namespace
