// The program: options, exit statuses, and screenshots.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "tests/tools/program.h"
#include "tests/webserver/http_client.h"
#include "tools/hotspot_preview_states.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

// TMPDIR is a directory of its own, so that it can be seen what is left there.
Ended runPreview(std::vector<std::string> arguments, const fs::path& tmp) {
  arguments.insert(arguments.begin(), TEST_PREVIEW);
  return runProgram(arguments, "", tmp);
}

Ended runPreview(const std::vector<std::string>& arguments) {
  const ScratchDir tmp;
  return runPreview(arguments, tmp.path());
}

TEST(PreviewProgram, WrongUsageIsTwoWithWhatToDo) {
  const ScratchDir pages;
  const std::string directory = pages.path();
  const std::string file = pages.write("login.html", "x");
  const std::string out = pages.path() / "out";
  const struct {
    std::vector<std::string> arguments;
    std::string text;
  } cases[] = {
      {{}, "DIR is required"},
      {{"/nonexistent"}, "hotspot-preview: /nonexistent: No such file or directory"},
      {{file}, file + " is no directory; give the one that holds login.html"},
      {{directory, "--nosuch"}, "--nosuch"},
      {{directory, "--port", "65536"}, "--port"},
      {{directory, "--json"}, "--list"},
      {{directory, "--dark"}, "--screenshots"},
      {{directory, "--state", "login"}, "--screenshots"},
      {{directory, "--width", "375"}, "--screenshots"},
      {{directory, "--browser", "/bin/true"}, "--screenshots"},
      {{directory, "--screenshots", out, "--port", "1"}, "--port"},
      {{directory, "--screenshots", out, "--list"}, "--list"},
      {{directory, "--screenshots", out, "--width", "199"}, "199"},
      {{directory, "--screenshots", out, "--width", "4001"}, "4001"},
      {{directory, "--screenshots", out, "--state", "nosuch", "--browser", "/bin/true"},
       "there is no state \"nosuch\"; --list shows them"},
      {{directory, "--screenshots", out, "--browser", "/nonexistent"},
       "/nonexistent is no program that can be started"},
      {{directory, "--screenshots", file + "/out", "--browser", "/bin/true"}, "cannot be made"},
      {{directory, "--screenshots", out, "--browser", "/bin/true"},
       "/bin/true has ended: it said nothing"},
      {{directory, "--module", "/nonexistent.so"}, "the module cannot be loaded"},
  };
  for (const auto& c : cases) {
    const Ended ended = runPreview(c.arguments);
    EXPECT_EQ(ended.status, 2) << testing::PrintToString(c.arguments);
    EXPECT_NE(ended.err.find(c.text), std::string::npos)
        << testing::PrintToString(c.arguments) << ended.err;
    EXPECT_EQ(ended.out, "") << testing::PrintToString(c.arguments);
  }
}

TEST(PreviewProgram, MissingBrowserIsSaidWithWhatToDo) {
  const ScratchDir pages;
  pages.write("login.html", "x");
  const ScratchDir tmp;
  const Ended ended = runProgram({"/usr/bin/env", "PATH=/nonexistent", TEST_PREVIEW, pages.path(),
                                  "--screenshots", pages.path() / "out"},
                                 "", tmp.path());
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.err,
            "hotspot-preview: no chromium in PATH: install the package chromium, or name it with "
            "--browser\n");
}

TEST(PreviewProgram, ListHasEveryState) {
  const ScratchDir pages;
  pages.write("de/login.html", "x");
  const std::vector<preview::State> states = preview::statesOf(pages.path());
  const Ended text = runPreview({"--list", pages.path()});
  EXPECT_EQ(text.status, 0);
  const Ended json = runPreview({"--list", "--json", pages.path()});
  EXPECT_EQ(json.status, 0);
  const Json list = Json::parse(json.out);
  ASSERT_EQ(list.size(), states.size());
  for (std::size_t i = 0; i < states.size(); ++i) {
    EXPECT_EQ(list[i]["name"], states[i].name);
    EXPECT_EQ(list[i]["group"], states[i].group);
    EXPECT_NE(text.out.find("  " + states[i].name + " "), std::string::npos) << states[i].name;
  }
  EXPECT_EQ(Json::parse(runPreview({"--list", "--json"}).out).size(),
            preview::fixedStates().size());
  const ScratchDir tmp;
  EXPECT_EQ(runProgram({TEST_PREVIEW, "--list"}, "", tmp.path(), "/dev/full").status, 2);
}

// The program as somebody starts it at a terminal.
class Running {
 public:
  explicit Running(const std::string& directory) {
    int out[2];
    if (pipe(out) != 0) throw std::runtime_error("no pipe");
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], STDOUT_FILENO);
      close(out[0]);
      setenv("TMPDIR", temporary_.path().c_str(), 1);
      execl(TEST_PREVIEW, TEST_PREVIEW, directory.c_str(), "--port", "0", nullptr);
      _exit(127);
    }
    close(out[1]);
    for (char c = 0; read(out[0], &c, 1) == 1 && c != '\n';) line_ += c;
    close(out[0]);
  }
  ~Running() {
    end(SIGTERM);
    EXPECT_TRUE(fs::is_empty(temporary_.path()));
  }

  const std::string& line() const { return line_; }
  unsigned port() const {
    const std::size_t at = line_.find("127.0.0.1:") + 10;
    return static_cast<unsigned>(std::stoul(line_.substr(at)));
  }
  // Its exit status; 128 + signal when a signal ended it.
  int end(int signal) {
    if (pid_ <= 0) return -1;
    kill(pid_, signal);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  const ScratchDir temporary_;
  pid_t pid_ = -1;
  std::string line_;
};

TEST(PreviewProgram, ServesUntilItIsStopped) {
  const ScratchDir pages;
  pages.write("login.html", "<p>$(location-name)</p>");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Running preview(pages.path());
    EXPECT_EQ(preview.line(),
              "hotspot-preview: http://127.0.0.1:" + std::to_string(preview.port()) + "/ shows " +
                  pages.path().string() + " (Ctrl-C ends it)");
    HttpClient client(preview.port());
    client.send("GET /login HTTP/1.1\r\nHost: login.preview.localhost:1\r\n\r\n");
    EXPECT_EQ(client.answer().body, "<p>Harbour Caf\u00e9</p>");
    // A gallery that is open does not hold it up.
    HttpClient gallery(preview.port());
    gallery.send("GET /events HTTP/1.1\r\nHost: 127.0.0.1:1\r\n\r\n");
    EXPECT_TRUE(gallery.hear("\"version\":1}\n\n"));
    EXPECT_EQ(preview.end(signal), 0);
  }
}

TEST(PreviewProgram, SavedFileIsToldToTheGallery) {
  const ScratchDir pages;
  pages.write("login.html", "x");
  Running preview(pages.path());
  HttpClient gallery(preview.port());
  gallery.send("GET /events HTTP/1.1\r\nHost: 127.0.0.1:1\r\n\r\n");
  EXPECT_TRUE(gallery.hear("\"version\":1}\n\n"));
  pages.write("login.html", "y");
  EXPECT_TRUE(gallery.hear("{\"files\":[\"login.html\"],"));
  pages.write("de/login.html", "z");
  EXPECT_TRUE(gallery.hear("\"de\""));
}

// Width and height of a PNG file (its IHDR chunk).
std::pair<unsigned, unsigned> sizeOf(const fs::path& file) {
  const std::string bytes = readFile(file);
  if (bytes.size() < 24 || bytes.substr(1, 3) != "PNG") return {0, 0};
  const auto word = [&](std::size_t at) {
    unsigned value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      value = value * 256 + static_cast<unsigned char>(bytes[at + i]);
    }
    return value;
  };
  return {word(16), word(20)};
}

// Command lines of the processes that run now.
std::vector<std::string> commandLines() {
  std::vector<std::string> lines;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc", error)) {
    std::ifstream file(entry.path() / "cmdline", std::ios::binary);
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

void expectNothingLeft(const ScratchDir& tmp) {
  EXPECT_TRUE(fs::is_empty(tmp.path()));
  for (const std::string& line : commandLines()) {
    EXPECT_EQ(line.find(tmp.path().string()), std::string::npos) << line;
  }
}

constexpr char kHead[] =
    "<!DOCTYPE html><html><head><meta charset=\"utf-8\">"
    "<meta name=\"viewport\" content=\"width=device-width\"></head>";

TEST(PreviewScreenshots, AreTheWholePageAtEachWidth) {
  const ScratchDir pages;
  pages.write("login.html", std::string(kHead) + "<body style=\"margin:0\">short</body>");
  pages.write("status.html",
              std::string(kHead) + "<body style=\"margin:0\"><p style=\"height:2000px\">long");
  // One that would leave at once.
  pages.write("alogin.html", std::string(kHead) +
                                 "<body style=\"margin:0\">stays<script>location.replace("
                                 "'$(link-redirect)')</script>");
  const ScratchDir out;
  const ScratchDir tmp;
  const Ended ended = runPreview({pages.path(), "--screenshots", out.path() / "new", "--state",
                                  "login,status,alogin", "--width", "320,800"},
                                 tmp.path());
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_NE(ended.err.find("[1/6] login-320.png\n"), std::string::npos) << ended.err;
  EXPECT_NE(ended.err.find("[6/6] alogin-800.png\n"), std::string::npos) << ended.err;
  using Size = std::pair<unsigned, unsigned>;
  EXPECT_EQ(sizeOf(out.path() / "new/login-320.png"), Size(320, 667));
  EXPECT_EQ(sizeOf(out.path() / "new/login-800.png"), Size(800, 800));
  EXPECT_EQ(sizeOf(out.path() / "new/alogin-320.png"), Size(320, 667));
  EXPECT_GT(sizeOf(out.path() / "new/status-320.png").second, 2000u);
  EXPECT_EQ(sizeOf(out.path() / "new/status-800.png").first, 800u);
  expectNothingLeft(tmp);
}

TEST(PreviewScreenshots, DarkIsDarkAndNamedSo) {
  const ScratchDir pages;
  pages.write("login.html", std::string(kHead) +
                                "<style>body{background:#fff}@media(prefers-color-scheme:dark)"
                                "{body{background:#000}}</style><body>x");
  const ScratchDir out;
  const ScratchDir tmp;
  for (const bool isDark : {false, true}) {
    std::vector<std::string> arguments = {pages.path(), "--screenshots", out.path(), "--state",
                                          "login",      "--width",       "320"};
    if (isDark) arguments.emplace_back("--dark");
    EXPECT_EQ(runPreview(arguments, tmp.path()).status, 0);
  }
  EXPECT_EQ(sizeOf(out.path() / "login-320-dark.png").first, 320u);
  EXPECT_NE(readFile(out.path() / "login-320.png"), readFile(out.path() / "login-320-dark.png"));
  expectNothingLeft(tmp);
}

TEST(PreviewScreenshots, WithoutWidthsArePhoneAndDesktop) {
  const ScratchDir pages;
  pages.write("login.html", std::string(kHead) + "<body>x");
  const ScratchDir out;
  const ScratchDir tmp;
  EXPECT_EQ(runPreview({pages.path(), "--screenshots", out.path(), "--state", "login"}, tmp.path())
                .status,
            0);
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(out.path()))
    names.insert(entry.path().filename());
  EXPECT_EQ(names, (std::set<std::string>{"login-375.png", "login-1280.png"}));
}

TEST(PreviewScreenshots, UnwritableFileIsSaid) {
  const ScratchDir pages;
  pages.write("login.html", std::string(kHead) + "<body>x");
  const ScratchDir out;
  fs::create_directory(out.path() / "login-320.png");
  const ScratchDir tmp;
  const Ended ended =
      runPreview({pages.path(), "--screenshots", out.path(), "--state", "login", "--width", "320"},
                 tmp.path());
  EXPECT_EQ(ended.status, 2);
  EXPECT_NE(ended.err.find("login-320.png cannot be written: Is a directory"), std::string::npos)
      << ended.err;
  expectNothingLeft(tmp);
}

// Stopped in the middle, with a page that never comes to an end.
TEST(PreviewScreenshots, StoppedLeavesNothingBehind) {
  const ScratchDir pages;
  pages.write("login.html", std::string(kHead) + "<body><script>for(;;);</script>");
  const ScratchDir tmp;
  const fs::path out = tmp.path() / "out";
  int err[2];
  ASSERT_EQ(pipe(err), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(err[1], STDERR_FILENO);
    close(err[0]);
    setenv("TMPDIR", tmp.path().c_str(), 1);
    execl(TEST_PREVIEW, TEST_PREVIEW, pages.path().c_str(), "--screenshots", out.c_str(), nullptr);
    _exit(127);
  }
  close(err[1]);
  std::string said;
  for (char c = 0; said.find("login-375.png") == std::string::npos && read(err[0], &c, 1) == 1;) {
    said += c;
  }
  kill(child, SIGINT);
  for (char c = 0; read(err[0], &c, 1) == 1;) said += c;
  close(err[0]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 2);
  EXPECT_TRUE(said.ends_with("hotspot-preview: stopped\n")) << said;
  fs::remove(out);
  expectNothingLeft(tmp);
}

}  // namespace
