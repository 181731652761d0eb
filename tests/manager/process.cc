#include "tests/manager/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <sstream>
#include <thread>

#include "manager/password.h"

namespace {

constexpr int kWaitMs = 60000;

std::vector<char*> argvOf(const std::vector<std::string>& words) {
  std::vector<char*> argv;
  for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  return argv;
}

int waitFor(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Files as standard streams: nothing can block on them.
[[noreturn]] void become(const std::vector<std::string>& words, const std::string& in,
                         const std::string& out, const std::string& err) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that dies takes its programs along
  dup2(open(in.c_str(), O_RDONLY), STDIN_FILENO);
  dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
  dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
  execv(words[0].c_str(), argvOf(words).data());
  _exit(127);
}

}  // namespace

std::string readFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

Finished runProgram(const std::vector<std::string>& words, const std::string& input) {
  const TemporaryDir dir;
  dir.write("in", input);
  const pid_t pid = fork();
  if (pid == 0) become(words, dir.file("in"), dir.file("out"), dir.file("err"));
  Finished finished;
  finished.status = waitFor(pid);
  finished.out = readFile(dir.file("out"));
  finished.err = readFile(dir.file("err"));
  return finished;
}

Connection::Connection(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  descriptor_ = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  connected_ = connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

Connection::~Connection() { close(descriptor_); }

void Connection::send(const std::string& packet) {
  EXPECT_TRUE(trySend(packet)) << std::strerror(errno);
}

bool Connection::trySend(const std::string& packet) {
  return ::send(descriptor_, packet.data(), packet.size(), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(packet.size());
}

bool Connection::hasAnswer() const {
  pollfd waiting{descriptor_, POLLIN, 0};
  return poll(&waiting, 1, 0) == 1;
}

std::optional<nv::message> Connection::receive() {
  pollfd waiting{descriptor_, POLLIN, 0};
  if (poll(&waiting, 1, kWaitMs) != 1) return std::nullopt;
  std::string packet(nv::kMaxMessageBytes, '\0');
  const ssize_t length = recv(descriptor_, packet.data(), packet.size(), 0);
  nv::message reply;
  if (length <= 0 || !reply.decode(packet.data(), static_cast<std::size_t>(length))) {
    return std::nullopt;
  }
  return reply;
}

nv::message Connection::ask(const nv::message& request) {
  send(request.encode());
  const std::optional<nv::message> reply = receive();
  EXPECT_TRUE(reply) << "no answer";
  return reply.value_or(nv::message());
}

ManagerProcess::ManagerProcess(std::vector<std::string> options) : options_(std::move(options)) {}

ManagerProcess::~ManagerProcess() {
  if (pid_ != 0) kill();
  EXPECT_EQ(log().find("Sanitizer"), std::string::npos) << log();
}

void ManagerProcess::start() {
  // An empty file of its own, so that the machine's is not read.
  std::vector<std::string> words = {
      HOTSPOT_MANAGER_PATH, "--config",     dir.write("manager.toml", ""),
      "--socket",           socket(),       "--admin-socket",
      adminSocket(),        "--database",   database,
      "--neighbour-table",  dir.file("arp")};
  words.insert(words.end(), options_.begin(), options_.end());
  pid_ = fork();
  if (pid_ == 0) {
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    become(words, "/dev/null", dir.file("out"), dir.file("log"));
  }
  for (int i = 0; i < kWaitMs / 10; ++i) {
    if (Connection(adminSocket()).connected()) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  FAIL() << "the manager did not start: " << log();
}

void ManagerProcess::signal(int number) { ::kill(pid_, number); }

int ManagerProcess::wait() {
  const int status = waitFor(pid_);
  pid_ = 0;
  return status;
}

void ManagerProcess::kill() {
  signal(SIGKILL);
  wait();
}

nv::message ManagerProcess::ask(const nv::message& request) {
  return Connection(socket()).ask(request);
}

nv::message ManagerProcess::askAdmin(const std::string& verb, const std::string& arguments) {
  return Connection(adminSocket()).ask(adminOf(verb, arguments));
}

nv::message ManagerProcess::chapLogin(const std::string& user, const std::string& password,
                                      std::uint32_t client) {
  const std::string challenge = challengeOf(ask(loginOf({}, client)));
  return ask(loginOf({.user = user, .password = manager::chapAnswer(challenge, password)}, client));
}

Finished ManagerProcess::ctl(std::vector<std::string> words, const std::string& input) {
  words.insert(words.begin(), {HOTSPOTCTL_PATH, "--socket", adminSocket()});
  return runProgram(words, input);
}

std::string ManagerProcess::log() const { return readFile(dir.file("log")); }
