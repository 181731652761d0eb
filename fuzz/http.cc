// One whole HTTP connection: the input is what a client sends. The real session, parser and module
// answer it, a scripted manager behind them. Every answer is well formed, whatever was sent; what
// the module is given is as host/request.h promises; and the answers are the same whether the bytes
// come at once and leave at once or a few at a time.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "commands/fields.h"
#include "fuzz/answers.h"
#include "fuzz/check.h"
#include "fuzz/pages.h"
#include "host/context.h"
#include "servlet/hsrv.h"
#include "tests/support/messages.h"
#include "webserver/connection.h"
#include "webserver/header_text.h"

namespace {

using fake::Reply;

constexpr std::uint32_t kPageDirectory = 0x2000044d;
constexpr std::uint32_t kUserName = 0x20000001;
constexpr std::uint32_t kLoggedIn = 0x00000451;
constexpr std::size_t kLongest = 65536;

// The client "anna" is logged in, "drop" is dropped, and whoever asks for the directory "in/" has a
// session.
class ScriptedManager : public Context {
 public:
  nv::message sendRequest(nv::message& request, unsigned) override {
    ++commands;
    fuzz::check(
        !request.fits() || nv::message().decode(request.encode().data(), request.encode().size()),
        "a command is a message");
    const std::string user = request.get_string(kFieldUser, "");
    Reply reply;
    reply.text(kPageDirectory, fuzz::pageDirectory()).text(kUserName, user);
    if (user == "drop") return reply.error(kErrDropClient, "");
    if (user == "anna" || request.get_string(kFieldTargetDir, "") == "in/") {
      return reply.flag(kLoggedIn, true).u32(kFieldCookieId, 42);
    }
    return reply.error(10, "no such user: " + user);
  }

  int commands = 0;
};

// The module, with an eye on what it is given.
class WatchedServlet : public Servlet {
 public:
  void doMethod(Context&, const Request& request, Response& response) override {
    checkRequest(request);
    ScriptedManager manager;
    module_->doMethod(manager, request, response);
    fuzz::check(manager.commands <= 1, "a request sends one command at most");
  }

 private:
  static void checkRequest(const Request& request) {
    fuzz::check(request.method < kMethodCount && request.protocol < kProtoCount,
                "method and protocol have names");
    fuzz::check(request.path.find('\0') == std::string::npos, "a path holds no NUL");
    fuzz::check(request.hasRelPath, "the path below the mount point is known");
    for (const auto& [name, value] : request.headers.fields()) {
      fuzz::check(web::isToken(name), "a field's name is a token");
      fuzz::check(value.find_first_of(std::string("\0\r\n", 3)) == std::string::npos,
                  "a field's value is one line");
    }
    std::string host = "none";
    if (!request.getDstHost(host)) return;
    fuzz::check(!host.empty() && std::all_of(host.begin(), host.end(),
                                             [](char c) {
                                               return c > ' ' && c < 0x7f && c != '/' && c != '"' &&
                                                      c != '<' && c != '@';
                                             }),
                "a host is a host");
  }

  Servlet* const module_ = createServlet();
};

// What the client sends and is sent, in memory. The socket behind it can always be read and
// written, so that nobody ever waits for it.
class ScriptedTransport : public web::Transport {
 public:
  // `few`: bytes go a few at a time, and each time the socket has nothing ready first.
  ScriptedTransport(const std::string& input, bool few, std::string* output)
      : input_(input), few_(few), output_(output) {}

  web::Io read(char* buffer) override {
    if (at_ == input_.size()) return {web::Io::kEnd};
    if (few_ && (hesitates_ = !hesitates_)) return {web::Io::kWantRead};
    const std::size_t most = few_ ? fewBytes() : web::kReadBytes;
    const std::size_t length = std::min(most, input_.size() - at_);
    input_.copy(buffer, length, at_);
    at_ += length;
    return {web::Io::kBytes, length};
  }
  bool holdsBack() const override { return false; }

  web::Io write(const iovec* parts, int count) override {
    if (few_ && (hesitates_ = !hesitates_)) return {web::Io::kWantWrite};
    std::size_t written = 0;
    for (int i = 0; i < count; ++i) {
      const std::size_t left = few_ ? 997 - written : parts[i].iov_len;
      const std::size_t length = std::min(parts[i].iov_len, left);
      output_->append(static_cast<const char*>(parts[i].iov_base), length);
      written += length;
    }
    return {web::Io::kBytes, written};
  }
  void finish() override {}

 private:
  // One at a time at first, where the request line is; then more, or it would take too long.
  std::size_t fewBytes() const { return 1 + at_ / 64; }

  const std::string& input_;
  const bool few_;
  std::string* const output_;
  std::size_t at_ = 0;
  bool hesitates_ = false;
};

web::Config configured() {
  web::Config config;
  config.listen.resize(1);
  config.serverNames = {"wifi.example"};
  config.managerSocket = "/nonexistent";
  return config;
}

// The worker that the connections belong to, one after the other. Its loop has no leader: this
// thread does what comes, and whoever steps aside goes on.
class Server {
 public:
  std::string answer(const std::string& input, bool few, const web::ConnectionFacts& facts) {
    int sockets[2];
    fuzz::check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, sockets) == 0 &&
                    write(sockets[1], "", 1) == 1,
                "a socket that can be read");
    std::string output;
    fuzz::check(counters_.connect(0, facts.clientAddr, 2, 2), "there is room for a connection");
    state_.connections.emplace_front();
    const auto connection = std::make_shared<web::Connection>(
        state_, sockets[0], std::make_unique<ScriptedTransport>(input, few, &output), facts);
    state_.connections.front() = connection;
    connection->start(state_.connections.begin());
    run();
    // It may still wait for the client to end.
    close(sockets[1]);
    run();
    fuzz::check(state_.connections.empty(), "a connection ends when its client does");
    fuzz::check(counters_.connections() == 0 && counters_.waiting() == 0, "nothing stays counted");
    return output;
  }

 private:
  void run() {
    state_.loop.context().restart();
    state_.loop.context().poll();
  }

  const web::Config config_ = configured();
  web::SharedCounters counters_{16};
  web::AccessLog log_{"/dev/null"};
  WatchedServlet servlet_;
  web::WorkerState state_{config_, counters_, 0, log_};

 public:
  Server() { state_.servlet = &servlet_; }
};

web::ConnectionFacts factsFor(unsigned variant) {
  web::ConnectionFacts facts;
  facts.clientAddr = fake::address(127, 0, 0, 2);
  facts.localAddr = fake::address(127, 0, 0, 1);
  facts.tls = variant == 1;
  if (variant == 2) facts.flags = kConnServeLocal;
  if (variant == 3) {
    facts.flags = kConnOrigDstKnown;
    facts.origDst[0] = 0x0a000001;
    facts.origDst[1] = 80;
  }
  return facts;
}

std::string headOf(const fuzz::Answer& answer) {
  std::string text = std::to_string(answer.status) + " " + answer.reason + "\n";
  for (const auto& [name, value] : answer.fields) {
    // The body of a request that nobody reads ends the connection when it is not all there yet.
    if (name != "Date" && name != "Connection") text += name + ": " + value + "\n";
  }
  return text;
}

// A header that is no header is refused as soon as that is seen: at once, or when it is whole.
bool isRefusal(const fuzz::Answer& answer) {
  return (answer.status == 400 || answer.status == 431) && answer.closes();
}

void checkAlike(const std::vector<fuzz::Answer>& once, const std::vector<fuzz::Answer>& few) {
  const std::size_t common = std::min(once.size(), few.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (isRefusal(few[i]) && isRefusal(once[i])) continue;
    fuzz::checkEqual(headOf(few[i]), headOf(once[i]), "slow bytes get the same header");
    fuzz::checkEqual(few[i].body, once[i].body, "slow bytes get the same body");
  }
  if (once.size() == few.size() || (common > 0 && once[common - 1].closes()) ||
      (common > 0 && few[common - 1].closes())) {
    return;
  }
  fuzz::check(once.size() == common + 1 && isRefusal(once.back()),
              "slow bytes get as many answers, but for what ends within a bad header");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kLongest) return 0;
  static Server server;
  const std::string input = fuzz::textOf(data, size);
  const web::ConnectionFacts facts = factsFor(size > 0 ? data[size - 1] % 4 : 0);
  // The name counts in its usual form alone, but a refused request's may have been read.
  const bool hasHead = input.find("HEAD") != std::string::npos;

  const std::string once = server.answer(input, false, facts);
  const std::string few = server.answer(input, true, facts);
  fuzz::checkNothingOutside(once, input);
  fuzz::checkNothingOutside(few, input);
  checkAlike(fuzz::readAnswers(once, hasHead), fuzz::readAnswers(few, hasHead));
  return 0;
}
