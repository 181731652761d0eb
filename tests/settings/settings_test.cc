#include "settings/settings.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>

namespace {

struct Block {
  std::string address;
  unsigned port = 0;
  std::uint32_t flags = 0;
  bool tls = false;
};

struct Values {
  std::string name = "none";
  unsigned port = 1;
  double ratio = 0.5;
  bool debug = false;
  std::vector<std::string> names;
  std::deque<Block> blocks;
};

class Settings : public ::testing::Test {
 protected:
  void SetUp() override {
    char text[] = "/tmp/settings-test-XXXXXX";
    ASSERT_NE(mkdtemp(text), nullptr);
    directory_ = text;
    file_ = directory_ + "/a.toml";
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  void write(const std::string& text) { std::ofstream(file_, std::ios::binary) << text; }

  settings::Result parse(std::vector<const char*> arguments, const std::string& defaultFile) {
    CLI::App app("a program");
    app.set_version_flag("--version", "a 1.2");
    app.add_option("--name", values_.name, "a name");
    auto* port = app.add_option("--port", values_.port, "a port")->check(CLI::Range(1, 65535));
    if (portRequired_) port->required();
    app.add_option("--ratio", values_.ratio, "a ratio");
    app.add_flag("--debug", values_.debug, "say more");
    app.add_option("--names", values_.names, "names");
    bool check = false;
    app.add_flag("--check", check, "check only")->group(settings::kCommandLineOnly);
    const settings::Blocks listen{
        "listen", [&](CLI::App& block, unsigned) {
          Block& made = values_.blocks.emplace_back();
          block.add_option("--address", made.address)->required();
          block.add_option("--port", made.port)->check(CLI::Range(0, 65535));
          block.add_option("--flags", made.flags);
          block.add_flag("--tls", made.tls);
        }};
    arguments.insert(arguments.begin(), "program");
    return settings::parse(app, static_cast<int>(arguments.size()), arguments.data(), defaultFile,
                           {listen});
  }

  // The error that a file of this text gives, without the directory.
  std::string errorOf(const std::string& text) {
    write(text);
    values_ = Values();
    const settings::Result result = parse({}, file_);
    EXPECT_FALSE(result.run) << text;
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.text.find('\n'), std::string::npos) << result.text;
    return result.text.compare(0, directory_.size() + 1, directory_ + "/") == 0
               ? result.text.substr(directory_.size() + 1)
               : result.text;
  }

  std::string directory_, file_;
  Values values_;
  bool portRequired_ = false;
};

TEST_F(Settings, FileSetsEveryType) {
  write("name = \"x\"\nport = 80\nratio = 2\ndebug = true\nnames = [\"a\", \"b\"]\n");
  const settings::Result result = parse({}, file_);
  ASSERT_TRUE(result.run) << result.text;
  EXPECT_EQ(values_.name, "x");
  EXPECT_EQ(values_.port, 80u);
  EXPECT_EQ(values_.ratio, 2.0);
  EXPECT_TRUE(values_.debug);
  EXPECT_EQ(values_.names, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(result.where("port"), file_ + ":2: port");
}

TEST_F(Settings, CommandLineWinsOverFile) {
  write("name = \"x\"\nport = 80\nnames = [\"a\", \"b\"]\ndebug = true\n");
  const settings::Result result =
      parse({"--port", "81", "--names", "c", "--debug=false", "--config", file_.c_str()}, "");
  ASSERT_TRUE(result.run) << result.text;
  EXPECT_EQ(values_.name, "x");
  EXPECT_EQ(values_.port, 81u);
  EXPECT_EQ(values_.names, std::vector<std::string>{"c"});
  EXPECT_FALSE(values_.debug);
  EXPECT_EQ(result.where("port"), "--port");
  EXPECT_EQ(result.where("ratio"), "ratio");
}

TEST_F(Settings, AbsentDefaultFileIsNoErrorButANamedOneIs) {
  EXPECT_TRUE(parse({}, directory_ + "/none.toml").run);
  EXPECT_EQ(values_.port, 1u);
  const std::string none = directory_ + "/none.toml";
  const settings::Result result = parse({"--config", none.c_str()}, "");
  EXPECT_FALSE(result.run);
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.text.find("none.toml: cannot be read: No such file"), std::string::npos);
}

TEST_F(Settings, DirectoryInPlaceOfTheFileIsAnError) {
  const settings::Result result = parse({"--config", directory_.c_str()}, "");
  EXPECT_FALSE(result.run);
  EXPECT_NE(result.text.find("cannot be read"), std::string::npos) << result.text;
}

TEST_F(Settings, ErrorsNameFileLineAndKey) {
  const struct {
    const char* text;
    const char* begins;
  } cases[] = {
      {"port = 80\n\nprot = 81\n", "a.toml:3: prot: no such setting; there are: name, port"},
      {"port = \"80\"\n", "a.toml:1: port: has to be an integer, not a string"},
      {"\nport = 1.5\n", "a.toml:2: port: has to be an integer, not a number with a fraction"},
      {"port = true\n", "a.toml:1: port: has to be an integer, not true or false"},
      {"port = [1]\n", "a.toml:1: port: has to be an integer, not an array"},
      {"name = 5\n", "a.toml:1: name: has to be a string in quotes, not an integer"},
      {"name = 1979-05-27\n", "a.toml:1: name: has to be a string in quotes, not a date or time"},
      {"debug = 1\n", "a.toml:1: debug: has to be true or false, not an integer"},
      {"ratio = \"1\"\n", "a.toml:1: ratio: has to be a number, not a string"},
      {"names = \"a\"\n", "a.toml:1: names: has to be an array"},
      {"names = [\"a\",\n 5]\n", "a.toml:2: names: has to be a string in quotes, not an integer"},
      {"port = 70000\n", "a.toml:1: port: Value 70000 not in range 1 to 65535"},
      {"port = 0\n", "a.toml:1: port: Value 0 not in range 1 to 65535"},
      {"port = -1\n", "a.toml:1: port: "},
      {"port = 4294967297\n", "a.toml:1: port: "},
      {"name = \"x\"\nport 80\n", "a.toml:2: not valid TOML: "},
      {"port = 1\nport = 2\n", "a.toml:2: not valid TOML: "},
      {"check = true\n", "a.toml:1: check: no such setting"},
      {"config = \"b.toml\"\n", "a.toml:1: config: no such setting"},
      {"help = true\n", "a.toml:1: help: no such setting"},
      {"[listen]\naddress = \"a\"\n", "a.toml:1: listen: is a list: write [[listen]]"},
      {"[[listen]]\nport = 1\n", "a.toml:1: [[listen]]: address is missing"},
      {"[[listen]]\naddress = \"a\"\nbad = 1\n", "a.toml:3: [[listen]] bad: no such setting"},
      {"[[listen]]\naddress = \"a\"\nport = 65536\n", "a.toml:3: [[listen]] port: Value 65536"},
      {"[section]\nport = 1\n", "a.toml:1: section: no such setting"},
      {"name = \"\xff\"\n", "a.toml:1: not valid TOML: "},
  };
  for (const auto& each : cases) {
    const std::string error = errorOf(each.text);
    EXPECT_EQ(error.compare(0, std::string(each.begins).size(), each.begins), 0)
        << each.text << "gives: " << error;
  }
}

TEST_F(Settings, ErrorIsOneLineWhateverTheFileHolds) {
  // errorOf() fails the test for a second line.
  EXPECT_EQ(errorOf("debug = t\n"),
            "a.toml:1: not valid TOML: Error while parsing boolean: expected 'true', saw 't '");
  EXPECT_EQ(errorOf("\"a\\nb\" = 1\n").substr(0, 30), "a.toml:1: a b: no such setting");
  EXPECT_EQ(errorOf("[[listen]]\n\"a\\u007f\" = 1\n").substr(0, 24), "a.toml:2: [[listen]] a :");
}

TEST_F(Settings, AFileIsCheckedAlsoWhereTheCommandLineWins) {
  write("port = \"x\"\n");
  EXPECT_FALSE(parse({"--port", "2"}, file_).run);
}

TEST_F(Settings, BlocksComeInOrderWithHexadecimalNumbers) {
  write(
      "[[listen]]\naddress = \"127.0.0.1\"\nport = 8080\n"
      "[[listen]]\naddress = \"127.0.0.2\"\nflags = \"0x82000000\"\ntls = true\n"
      "[[listen]]\naddress = \"127.0.0.3\"\nflags = 0x01000000\n");
  const settings::Result result = parse({}, file_);
  ASSERT_TRUE(result.run) << result.text;
  ASSERT_EQ(values_.blocks.size(), 3u);
  EXPECT_EQ(values_.blocks[0].address, "127.0.0.1");
  EXPECT_EQ(values_.blocks[0].port, 8080u);
  EXPECT_EQ(values_.blocks[1].flags, 0x82000000u);
  EXPECT_TRUE(values_.blocks[1].tls);
  EXPECT_EQ(values_.blocks[2].flags, 0x01000000u);
  EXPECT_FALSE(values_.blocks[2].tls);
}

TEST_F(Settings, RequiredMayBeSetInEitherPlace) {
  portRequired_ = true;
  write("name = \"x\"\n");
  settings::Result result = parse({}, file_);
  EXPECT_FALSE(result.run);
  EXPECT_EQ(result.text, file_ + ": port is not set: give --port or set it in the settings file");
  EXPECT_TRUE(parse({"--port", "5"}, file_).run);
  write("port = 5\n");
  EXPECT_TRUE(parse({}, file_).run);
}

TEST_F(Settings, WrongCommandLineIsOneLine) {
  for (const std::vector<const char*>& each : {std::vector<const char*>{"--port", "0"},
                                               {"--nothing"},
                                               {"stray"},
                                               {"--port", "x"},
                                               {"--port"}}) {
    const settings::Result result = parse(each, "");
    EXPECT_FALSE(result.run);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_FALSE(result.text.empty());
    EXPECT_EQ(result.text.find('\n'), std::string::npos) << result.text;
  }
}

TEST_F(Settings, HelpAndVersionEndWithZero) {
  settings::Result result = parse({"--help"}, "");
  EXPECT_FALSE(result.run);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.text.find("--config"), std::string::npos);
  result = parse({"--version"}, "");
  EXPECT_FALSE(result.run);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.text, "a 1.2\n");
}

}  // namespace
