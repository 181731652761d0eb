// Values as texts: what they become, and what is refused.

#include "tools/hotspot_preview_settings.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "host/request.h"
#include "tools/hotspot_preview_states.h"
#include "tools/hotspot_preview_text.h"

namespace {

using preview::Values;

replay::Scenario scenarioOf(const std::string& query) {
  Values values;
  preview::edit(query, &values);
  return preview::makeScenario(values, "/pages/");
}

const nv::message& replyOf(const replay::Scenario& scenario) { return scenario.replies.at(0); }

std::string refusal(const std::string& query) {
  try {
    scenarioOf(query);
  } catch (const preview::WrongSetting& wrong) {
    return wrong.what();
  }
  return "accepted";
}

TEST(PreviewSettings, EachReachesTheRequestOrTheReply) {
  // A value for each kind that differs from what is there without it.
  const std::map<preview::SettingKind, std::string> sample = {
      {preview::SettingKind::kText, "x"},           {preview::SettingKind::kNumber, "7"},
      {preview::SettingKind::kFlag, "yes"},         {preview::SettingKind::kHex, "0a0b"},
      {preview::SettingKind::kAddress, "10.9.8.7"}, {preview::SettingKind::kMethod, "POST"},
      {preview::SettingKind::kSecsAgo, "7"},        {preview::SettingKind::kSecsLeft, "7"}};
  const auto written = [](const replay::Scenario& scenario) {
    std::string text = nv::message(replyOf(scenario)).encode();
    const replay::RequestSpec& request = scenario.request;
    text += request.relPath.value_or("-") + request.path + request.query +
            request.dstHost.value_or("-") + std::to_string(request.method) +
            std::to_string(request.connFlags) + std::to_string(request.clientAddr) +
            (request.isSsl ? "s" : "-");
    for (const auto& [name, value] : request.headers) text += name + value;
    return text;
  };
  std::set<std::string> seen = {written(scenarioOf("error-code=1"))};
  for (const preview::Setting& setting : preview::settings()) {
    const std::string query = std::string(setting.name) + "=" + sample.at(setting.kind);
    // A text of an error counts with a code alone.
    const std::string code = setting.name == "error-code" ? "" : "error-code=1&";
    EXPECT_TRUE(seen.insert(written(scenarioOf(code + query))).second) << setting.name;
  }
}

TEST(PreviewSettings, TimesAreOnTheManagersClock) {
  const replay::Scenario scenario = scenarioOf("uptime=600&session-time-left=100");
  EXPECT_EQ(replyOf(scenario).get_u32(0x08000003, 0), scenario.uptime - 600);
  EXPECT_EQ(replyOf(scenario).get_u32(0x08000004, 0), scenario.uptime + 100);
}

TEST(PreviewSettings, OptionBitsShareAField) {
  EXPECT_EQ(replyOf(scenarioOf("trial=yes&plain-passwd=yes")).get_u32(0x08000450, 0), 0x30u);
  EXPECT_EQ(replyOf(scenarioOf("trial=no&plain-passwd=yes")).get_u32(0x08000450, 0), 0x10u);
}

TEST(PreviewSettings, ErrorNeedsACode) {
  EXPECT_FALSE(nv::isError(replyOf(scenarioOf("error-text=x")), nullptr, nullptr));
  EXPECT_FALSE(nv::isError(replyOf(scenarioOf("error-code=0&error-text=x")), nullptr, nullptr));
  unsigned code = 0;
  std::string text;
  EXPECT_TRUE(nv::isError(replyOf(scenarioOf("error-code=10&error-text=x")), &code, &text));
  EXPECT_EQ(code, 10u);
  EXPECT_EQ(text, "x");
}

TEST(PreviewSettings, SiteMakesTheRequestOneForAnotherHost) {
  const replay::RequestSpec here = scenarioOf("page=de/status&dst=http://a/%3Fb").request;
  EXPECT_FALSE(here.foreignDst);
  EXPECT_EQ(here.relPath, "de/status");
  EXPECT_EQ(here.query, "dst=http%3A%2F%2Fa%2F%3Fb");
  const replay::RequestSpec there = scenarioOf("page=news&site=www.example.com").request;
  EXPECT_TRUE(there.foreignDst);
  EXPECT_EQ(there.dstHost, "www.example.com");
  EXPECT_EQ(there.path, "/news");
}

TEST(PreviewSettings, EmptyValueLeavesTheFieldOut) {
  EXPECT_EQ(replyOf(scenarioOf("username=&logged-in=&bytes-in=&mac=")).ids(),
            (std::vector<std::uint32_t>{replay::kPageDirField}));
}

TEST(PreviewSettings, WrongValuesAreRefusedWithWhatToDo) {
  const std::map<std::string, std::string> cases = {
      {"nosuch=1", "there is no value \"nosuch\""},
      {"=1", "there is no value \"\""},
      {"idle-timeout=4294967296",
       "idle-timeout cannot be \"4294967296\": give a whole number below 4294967296"},
      {"idle-timeout=-1", "idle-timeout cannot be \"-1\": give a whole number below 4294967296"},
      {"bytes-in=18446744073709551616",
       "bytes-in cannot be \"18446744073709551616\": give a whole number below 2^64"},
      {"bytes-in=1x", "bytes-in cannot be \"1x\": give a whole number below 2^64"},
      {"uptime=soon", "uptime cannot be \"soon\": give a whole number below 4294967296"},
      {"trial=maybe", "trial cannot be \"maybe\": give yes or no"},
      {"https=1", "https cannot be \"1\": give yes or no"},
      {"advert-held=on", "advert-held cannot be \"on\": give yes or no"},
      {"mac=001", "mac cannot be \"001\": give pairs of hexadecimal digits"},
      {"mac=0g", "mac cannot be \"0g\": give pairs of hexadecimal digits"},
      {"ip=10.5.50", "ip cannot be \"10.5.50\": give a dotted IPv4 address"},
      {"method=PUT", "method cannot be \"PUT\": give GET or POST"},
      {"username=" + std::string(4097, 'x'), "username is longer than 4096 bytes"},
  };
  for (const auto& [query, text] : cases) EXPECT_EQ(refusal(query), text) << query.substr(0, 60);
  EXPECT_EQ(refusal("idle-timeout=4294967295"), "accepted");
  EXPECT_EQ(refusal("bytes-in=18446744073709551615"), "accepted");
  EXPECT_EQ(refusal("username=" + std::string(4096, 'x')), "accepted");
}

TEST(PreviewSettings, OwnTargetIsWhatABrowserAsksFor) {
  const auto target = [](const std::string& query) {
    Values values;
    preview::edit(query, &values);
    return preview::ownTarget(values);
  };
  EXPECT_EQ(target(""), "/");
  EXPECT_EQ(target("page=login"), "/login");
  EXPECT_EQ(target("page=a b/%3F%23%25.html"), "/a%20b/%3F%23%25.html");
  EXPECT_EQ(target("page=login&dst=http://a/%3Fb%26c&target=de"),
            "/login?target=de&dst=http%3A%2F%2Fa%2F%3Fb%26c");
}

TEST(PreviewSettings, EveryStateUsesKnownOnes) {
  for (const preview::State& state : preview::fixedStates()) {
    for (const auto& [name, value] : state.values) {
      EXPECT_NE(preview::findSetting(name), nullptr) << state.name << " " << name;
    }
  }
}

TEST(PreviewText, PercentCodingGoesThereAndBack) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  const std::string encoded = preview::percentEncode(all);
  EXPECT_EQ(encoded.find_first_of("+ \"'<>&"), std::string::npos);
  EXPECT_EQ(preview::percentDecode(encoded, true), all);
  EXPECT_EQ(preview::percentDecode(encoded, false), all);
  EXPECT_EQ(preview::percentDecode("a+b%2", true), "a b%2");
  EXPECT_EQ(preview::percentDecode("a+b%zz%", false), "a+b%zz%");
}

TEST(PreviewText, QueriesAreReadAsFormsSendThem) {
  using Parameters = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(preview::parseQuery(""), Parameters{});
  EXPECT_EQ(preview::parseQuery("&&a=1&b&c=&d=x%26y=z&"),
            (Parameters{{"a", "1"}, {"b", ""}, {"c", ""}, {"d", "x&y=z"}}));
  EXPECT_TRUE(preview::hasParameter("a=1&UserName=x", "username"));
  EXPECT_FALSE(preview::hasParameter("username=&user=x", "username"));
}

TEST(PreviewText, Base64IsRfc4648s) {
  EXPECT_EQ(preview::decodeBase64(""), "");
  EXPECT_EQ(preview::decodeBase64("Zg=="), "f");
  EXPECT_EQ(preview::decodeBase64("Zm8="), "fo");
  EXPECT_EQ(preview::decodeBase64("Zm9v"), "foo");
  EXPECT_EQ(preview::decodeBase64("Zm9vYg=="), "foob");
  EXPECT_EQ(preview::decodeBase64("+/+/"), "\xfb\xff\xbf");
  for (const char* const wrong : {"Z", "Zg=", "Zm9v!A==", "Zm 9", "====", "Zg==Zg=="}) {
    EXPECT_EQ(preview::decodeBase64(wrong), std::nullopt) << wrong;
  }
}

}  // namespace
