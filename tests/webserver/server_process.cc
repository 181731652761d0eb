#include "tests/webserver/server_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

bool eventually(const std::function<bool()>& condition) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

ServerProcess::ServerProcess() {
  char name[] = "/tmp/hotspot-web-test-XXXXXX";
  if (mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp");
  directory_ = name;
}

ServerProcess::~ServerProcess() {
  if (pid_ > 0) {
    for (const pid_t worker : workers()) kill(worker, SIGKILL);
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
  }
  EXPECT_EQ(log().find("Sanitizer"), std::string::npos) << log();
  std::filesystem::remove_all(directory_);
}

void ServerProcess::settings(const std::string& toml, const std::string& module) {
  std::ofstream(file("web.toml")) << "module = \"" << module << "\"\n"
                                  << (toml.find("access-log") == std::string::npos
                                          ? "access-log = \"\"\n"
                                          : "")
                                  << toml;
  wroteSettings_ = true;
}

void ServerProcess::spawn(const std::vector<std::string>& options) {
  std::vector<std::string> words{HOTSPOT_WEB};
  words.insert(words.end(), options.begin(), options.end());
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_ = fork();
  ASSERT_GE(pid_, 0);
  if (pid_ > 0) return;
  prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test that dies takes its server along
  dup2(open(file("err").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
  dup2(open(file("out").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDOUT_FILENO);
  execv(arguments[0], arguments.data());
  _exit(127);
}

void ServerProcess::start(const std::vector<std::string>& options) {
  if (!wroteSettings_) settings("workers = 2\n");
  const std::string toml = readFile(file("web.toml"));
  std::vector<std::string> all{"--config", file("web.toml")};
  std::size_t wanted = 0;
  for (std::size_t at = 0; (at = toml.find("[[listen]]", at)) != std::string::npos; ++at) ++wanted;
  if (wanted == 0) {
    all.insert(all.end(), {"--listen", "127.0.0.1:0"});
    wanted = 1;
  }
  all.insert(all.end(), options.begin(), options.end());
  spawn(all);
  ASSERT_TRUE(eventually([&] {
                static const std::string kMark = "listening on http";
                const std::string text = log();
                ports_.clear();
                for (std::size_t at = 0; (at = text.find(kMark, at)) != std::string::npos; ++at) {
                  const std::size_t colon = text.find(':', text.find("//", at));
                  const std::size_t end = text.find('\n', at);
                  if (end == std::string::npos) return false;
                  ports_.push_back(static_cast<unsigned>(std::stoul(text.substr(colon + 1))));
                }
                return ports_.size() >= wanted || !running();
              }) &&
              running())
      << log();
}

int ServerProcess::runToEnd(const std::vector<std::string>& options) {
  spawn(options);
  return wait();
}

void ServerProcess::signal(int number) const { kill(pid_, number); }

int ServerProcess::wait() {
  int status = 0;
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  while (waitpid(pid_, &status, WNOHANG) != pid_) {
    if (std::chrono::steady_clock::now() > until) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool ServerProcess::running() {
  siginfo_t info{};
  return pid_ > 0 &&
         waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == 0;
}

std::vector<pid_t> ServerProcess::workers() const {
  const std::string task = std::to_string(pid_);
  std::istringstream list(readFile("/proc/" + task + "/task/" + task + "/children"));
  std::vector<pid_t> all;
  for (pid_t each = 0; list >> each;) all.push_back(each);
  return all;
}

void ServerProcess::pause(pid_t worker) {
  kill(worker, SIGSTOP);
  ASSERT_TRUE(eventually([&] {
    return readFile("/proc/" + std::to_string(worker) + "/stat").find(") T ") != std::string::npos;
  }));
}

void ServerProcess::resume(pid_t worker) { kill(worker, SIGCONT); }

std::string ServerProcess::log() const { return readFile(file("err")); }
std::string ServerProcess::output() const { return readFile(file("out")); }
