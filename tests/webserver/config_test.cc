#include "webserver/config.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <thread>

namespace web {
namespace {

class ConfigFile : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/web-config-test-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    directory_ = name;
    file_ = directory_ + "/web.toml";
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  settings::Result read(const std::string& text, std::vector<const char*> arguments = {}) {
    std::ofstream(file_) << text;
    arguments.insert(arguments.begin(), {"hotspot-web", "--config", file_.c_str()});
    config_ = Config();
    return readConfig(static_cast<int>(arguments.size()), arguments.data(), &config_);
  }

  std::string directory_, file_;
  Config config_;
};

// As the manual has them.
TEST_F(ConfigFile, DefaultsAreTheLimitsOfTheManual) {
  ASSERT_TRUE(read("").run);
  EXPECT_EQ(config_.maxConnections, 4096u);
  EXPECT_EQ(config_.maxConnectionsPerClient, 512u);
  EXPECT_EQ(config_.maxWaiting, 512u);
  EXPECT_EQ(config_.headerTimeoutSecs, 10u);
  EXPECT_EQ(config_.bodyTimeoutSecs, 10u);
  EXPECT_EQ(config_.idleTimeoutSecs, 15u);
  EXPECT_EQ(config_.writeTimeoutSecs, 20u);
  EXPECT_EQ(config_.stopTimeoutSecs, 20u);
  EXPECT_EQ(config_.workers, std::clamp(std::thread::hardware_concurrency(), 1u, 32u));
  EXPECT_EQ(config_.mount, "/");
  EXPECT_EQ(config_.accessLog, "-");
  EXPECT_FALSE(config_.debug);
  ASSERT_EQ(config_.listen.size(), 1u);
  EXPECT_EQ(config_.listen[0].address, "127.0.0.1");
  EXPECT_EQ(config_.listen[0].port, 8080u);
  EXPECT_FALSE(config_.listen[0].tls);
}

TEST_F(ConfigFile, ListenBlocksCarryTheirFlags) {
  const settings::Result result = read(
      "[[listen]]\naddress = \"0.0.0.0\"\nport = 80\n"
      "[[listen]]\nport = 81\nflags = \"0x01000000\"\n"
      "[[listen]]\nport = 82\nflags = 0x82000000\n");
  ASSERT_TRUE(result.run) << result.text;
  ASSERT_EQ(config_.listen.size(), 3u);
  EXPECT_EQ(config_.listen[0].address, "0.0.0.0");
  EXPECT_EQ(config_.listen[1].address, "127.0.0.1");
  EXPECT_EQ(config_.listen[1].flags, 0x01000000u);
  EXPECT_EQ(config_.listen[2].flags, 0x82000000u);
  EXPECT_EQ(config_.listen[2].where, file_ + ":7: [[listen]]");
  EXPECT_GE(config_.workers, 1u);
}

TEST_F(ConfigFile, CommandLineListenersReplaceTheFiles) {
  const settings::Result result =
      read("certificate = \"c\"\nkey = \"k\"\n[[listen]]\nport = 80\n",
           {"--listen", "127.0.0.2:90", "--listen", "127.0.0.3:0,tls,flags=0x02"});
  ASSERT_TRUE(result.run) << result.text;
  ASSERT_EQ(config_.listen.size(), 2u);
  EXPECT_EQ(config_.listen[0].address, "127.0.0.2");
  EXPECT_EQ(config_.listen[0].port, 90u);
  EXPECT_TRUE(config_.listen[1].tls);
  EXPECT_EQ(config_.listen[1].flags, 2u);
}

TEST_F(ConfigFile, MistakesAreOneLineWithTheirPlace) {
  const struct {
    const char* text;
    const char* error;
  } cases[] = {
      {"[[listen]]\naddress = \"localhost\"\nport = 1\n",
       "web.toml:1: [[listen]]: address: \"localhost\" is no IPv4 address"},
      {"[[listen]]\nport = 1\ntls = true\n", "web.toml:1: [[listen]]: tls needs a certificate"},
      {"certificate = \"c\"\n[[listen]]\nport = 1\ntls = true\n",
       "[[listen]]: tls needs a certificate and its key: set key"},
      {"[[listen]]\naddress = \"127.0.0.1\"\n", "[[listen]]: port is missing"},
      {"mount = \"portal\"\n", "web.toml:1: mount: has to begin with \"/\""},
      {"manager-socket = \"m.sock\"\n",
       "web.toml:1: manager-socket: has to be an absolute path of at most 107 bytes"},
      {"manager-socket = \"\"\n", "web.toml:1: manager-socket: has to be an absolute path"},
      {"html-dir = \"pages/\"\n", "web.toml:1: html-dir: has to be an absolute path"},
      {"\nworkers = 33\n", "web.toml:2: workers: Value 33 not in range"},
      {"log-level = \"loud\"\n", "web.toml:1: log-level: "},
      {"idle-timeout = 0\n", "web.toml:1: idle-timeout: "},
      {"check-config = true\n", "web.toml:1: check-config: no such setting"},
      {"listen = [\"x\"]\n", "web.toml:1: listen: x: the port is missing"},
      {"listen = [\"127.0.0.1:70000\"]\n", "the port is not a number from 0 to 65535"},
      {"listen = [\"127.0.0.1:\"]\n", "the port is not a number from 0 to 65535"},
      {"listen = [\"127.0.0.1:8x\"]\n", "the port is not a number from 0 to 65535"},
      {"listen = [\"127.0.0.1:80,tsl\"]\n", "\"tsl\" means nothing here"},
      {"listen = [\"127.0.0.1:80,flags=0x123456789\"]\n", "means nothing here"},
  };
  for (const auto& each : cases) {
    const settings::Result result = read(each.text);
    EXPECT_FALSE(result.run) << each.text;
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.text.find(each.error), std::string::npos)
        << each.text << "gives: " << result.text;
    EXPECT_EQ(result.text.find('\n'), std::string::npos);
  }
}

// A longer path is no address: the manager could never be reached.
TEST_F(ConfigFile, ManagersSocketHasThePathOfASocket) {
  const std::string path(107, '/');
  ASSERT_TRUE(read("manager-socket = \"" + path + "\"\n").run);
  EXPECT_EQ(config_.managerSocket, path);
  EXPECT_FALSE(read("manager-socket = \"" + path + "x\"\n").run);
}

TEST_F(ConfigFile, MountLosesItsClosingSlash) {
  ASSERT_TRUE(read("mount = \"/portal//\"\nhtml-dir = \"/srv/pages\"\n").run);
  EXPECT_EQ(config_.mount, "/portal");
  EXPECT_EQ(config_.htmlDir, "/srv/pages/");
  ASSERT_TRUE(read("mount = \"/\"\n").run);
  EXPECT_EQ(config_.mount, "/");
}

}  // namespace
}  // namespace web
