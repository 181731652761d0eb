#include "tools/hotspot_preview_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace preview {
namespace {

namespace fs = std::filesystem;

// The descriptors on which the browser expects its messages (--remote-debugging-pipe).
constexpr int kBrowserInput = 3;
constexpr int kBrowserOutput = 4;
constexpr int kFirstFreeDescriptor = 10;

// How long a browser that was told to close may take before it is killed.
constexpr std::chrono::seconds kCloseTime(10);
constexpr std::chrono::milliseconds kLookEvery(20);

constexpr char kLog[] = "browser.log";

std::vector<std::string> argumentsOf(const std::string& path, const std::string& profile) {
  std::vector<std::string> arguments = {
      path,
      "--headless",
      "--remote-debugging-pipe",
      "--user-data-dir=" + profile,
      "--no-first-run",
      "--no-default-browser-check",
      "--disable-gpu",
      "--disable-dev-shm-usage",
      "--disable-extensions",
      "--disable-breakpad",
      "--disable-crash-reporter",
      "--disable-background-networking",
      "--disable-component-update",
      "--disable-sync",
      "--hide-scrollbars",
      "--mute-audio",
      "--force-color-profile=srgb",
      "--lang=en",
      "--no-proxy-server",
      // Nothing but the preview itself is ever asked for.
      "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE *.localhost",
  };
  // Chromium's sandbox does not work for root.
  if (geteuid() == 0) arguments.emplace_back("--no-sandbox");
  return arguments;
}

std::vector<std::string> environmentOf(const std::string& profile) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (!text.starts_with("XDG_CONFIG_HOME=") && !text.starts_with("XDG_CACHE_HOME=")) {
      variables.push_back(text);
    }
  }
  // What it would leave behind elsewhere.
  variables.push_back("XDG_CONFIG_HOME=" + profile);
  variables.push_back("XDG_CACHE_HOME=" + profile);
  return variables;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> list;
  list.reserve(texts.size() + 1);
  for (std::string& text : texts) list.push_back(text.data());
  list.push_back(nullptr);
  return list;
}

// A pipe whose ends lie above the browser's own descriptors.
void openPipe(int (&ends)[2]) {
  int low[2];
  if (pipe2(low, O_CLOEXEC) != 0) {
    throw BrowserError(std::string("no pipe to the browser: ") + std::strerror(errno));
  }
  for (int i = 0; i < 2; ++i) {
    ends[i] = fcntl(low[i], F_DUPFD_CLOEXEC, kFirstFreeDescriptor);
    close(low[i]);
  }
}

// In the child; only what is allowed between fork(2) and execve(2) of a process with threads.
[[noreturn]] void become(const char* path, char* const* arguments, char* const* environment,
                         int input, int output, int log, int nothing) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(nothing, STDIN_FILENO);
  dup2(log, STDOUT_FILENO);
  dup2(log, STDERR_FILENO);
  dup2(input, kBrowserInput);
  dup2(output, kBrowserOutput);
  // Sockets of the preview are not the browser's.
  close_range(kBrowserOutput + 1, ~0U, 0);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  execve(path, arguments, environment);
  _exit(127);
}

// Processes whose parent this one is by now.
std::vector<pid_t> children() {
  std::vector<pid_t> found;
  std::error_code error;
  for (const fs::directory_entry& task : fs::directory_iterator("/proc/self/task", error)) {
    std::ifstream list(task.path() / "children");
    for (pid_t child = 0; list >> child;) found.push_back(child);
  }
  return found;
}

}  // namespace

BrowserProcess::BrowserProcess(const std::string& path) : path_(path) {
  std::error_code error;
  std::string profile = (fs::temp_directory_path(error) / "hotspot-preview-XXXXXX").string();
  if (error || mkdtemp(profile.data()) == nullptr) {
    throw BrowserError("no temporary directory " + profile +
                       " for the browser: " + std::strerror(errno));
  }
  profile_ = profile;
  // What outlives the browser becomes this process's, so that it can be ended.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    start();
  } catch (...) {
    end();
    throw;
  }
}

BrowserProcess::~BrowserProcess() { end(); }

void BrowserProcess::start() {
  int toBrowser[2];
  int fromBrowser[2];
  openPipe(toBrowser);
  openPipe(fromBrowser);
  input_ = toBrowser[1];
  output_ = fromBrowser[0];
  const std::string logFile = profile_ + "/" + kLog;
  const int log = open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  std::vector<std::string> arguments = argumentsOf(path_, profile_);
  std::vector<std::string> environment = environmentOf(profile_);
  const std::vector<char*> argumentList = pointers(arguments);
  const std::vector<char*> environmentList = pointers(environment);
  process_ = fork();
  if (process_ == 0) {
    become(path_.c_str(), argumentList.data(), environmentList.data(), toBrowser[0], fromBrowser[1],
           log, nothing);
  }
  const int error = errno;
  for (const int fd : {toBrowser[0], fromBrowser[1], log, nothing}) close(fd);
  if (process_ < 0) {
    throw BrowserError(path_ + " cannot be started: " + std::strerror(error));
  }
}

std::string BrowserProcess::lastWords() const {
  std::ifstream log(profile_ + "/" + kLog);
  std::string last = "it said nothing";
  for (std::string line; std::getline(log, line);) {
    if (!line.empty()) last = line;
  }
  return last;
}

void BrowserProcess::end() {
  using Clock = std::chrono::steady_clock;
  if (input_ >= 0) close(input_);
  if (output_ >= 0) close(output_);
  if (process_ > 0) {
    const Clock::time_point deadline = Clock::now() + kCloseTime;
    while (waitpid(process_, nullptr, WNOHANG) == 0) {
      if (Clock::now() > deadline) kill(-process_, SIGKILL);
      std::this_thread::sleep_for(kLookEvery);
    }
    // The processes that it started end by themselves, or are ended.
    kill(-process_, SIGKILL);
    while (waitpid(-1, nullptr, WNOHANG) >= 0) {
      for (const pid_t child : children()) kill(child, SIGKILL);
      std::this_thread::sleep_for(kLookEvery);
    }
  }
  std::error_code ignored;
  fs::remove_all(profile_, ignored);
}

}  // namespace preview
