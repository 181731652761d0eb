// The hotspot's own settings.

#include "manager/server_settings.h"

#include <gtest/gtest.h>

namespace {

using manager::ServerSettings;
using manager::serverSettingText;
using manager::setServerSetting;

TEST(ServerSetting, ReadsBackWhatWasSet) {
  const std::pair<const char*, const char*> values[] = {
      {"html-dir", "/srv/pages/"},    {"dns-name", "wifi.example.net"},
      {"server-name", "Caf\xc3\xa9"}, {"server-address", "10.5.50.1"},
      {"interface", "wlan0"},         {"location-id", "isocc=us"},
      {"location-name", "Lobby"},     {"trial", "yes"},
      {"plain-passwd", "yes"},        {"ssl-login", "yes"},
      {"cookie-lifetime", "60"}};
  ServerSettings settings;
  std::string why;
  for (const auto& [name, value] : values) {
    EXPECT_TRUE(setServerSetting(&settings, name, value, &why)) << name << ": " << why;
  }
  ASSERT_EQ(manager::serverSettingNames().size(), std::size(values));
  for (const auto& [name, value] : values) EXPECT_EQ(serverSettingText(settings, name), value);
}

TEST(ServerSetting, TakesADnsNameWithAPort) {
  ServerSettings settings;
  std::string why;
  ASSERT_TRUE(setServerSetting(&settings, "dns-name", "127.0.0.1:8080", &why)) << why;
  EXPECT_EQ(settings.dnsName, "127.0.0.1:8080");
}

TEST(ServerSetting, EndsThePageDirectoryInASlash) {
  ServerSettings settings;
  std::string why;
  ASSERT_TRUE(setServerSetting(&settings, "html-dir", "/srv/pages", &why));
  EXPECT_EQ(settings.htmlDir, "/srv/pages/");
}

TEST(ServerSetting, SaysWhatDoesNotFitAndChangesNothing) {
  const std::pair<const char*, const char*> wrong[] = {{"html-dir", ""},
                                                       {"html-dir", "pages"},
                                                       {"dns-name", "a b"},
                                                       {"dns-name", "x/y"},
                                                       {"dns-name", ":80"},
                                                       {"dns-name", "x:"},
                                                       {"dns-name", "x:0"},
                                                       {"dns-name", "x:65536"},
                                                       {"dns-name", "x:80/"},
                                                       {"server-address", "10.5.50"},
                                                       {"server-name", "two\nlines"},
                                                       {"trial", "maybe"},
                                                       {"cookie-lifetime", "-1"},
                                                       {"cookie-lifetime", "4294967296"},
                                                       {"cookie-lifetime", "1 d"},
                                                       {"no-such", "x"}};
  for (const auto& [name, value] : wrong) {
    ServerSettings settings;
    std::string why;
    EXPECT_FALSE(setServerSetting(&settings, name, value, &why)) << name << "=" << value;
    EXPECT_FALSE(why.empty());
    for (const std::string& each : manager::serverSettingNames()) {
      EXPECT_EQ(serverSettingText(settings, each), serverSettingText({}, each)) << name;
    }
  }
}

TEST(ServerSettings, KeptValuesWinAndUnusableOnesAreSkipped) {
  ServerSettings base;
  base.serverName = "file";
  std::vector<std::string> skipped;
  const ServerSettings settings = manager::overlay(
      base, {{"trial", "yes"}, {"server-name", "store"}, {"ssl-login", "?"}, {"old", "x"}},
      &skipped);
  EXPECT_TRUE(settings.trial);
  EXPECT_EQ(settings.serverName, "store");
  EXPECT_EQ(skipped, (std::vector<std::string>{"old", "ssl-login"}));
}

}  // namespace
