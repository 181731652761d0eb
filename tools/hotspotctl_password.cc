#include "tools/hotspotctl_password.h"

#include <crypt.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <memory>

#include "tools/hotspotctl_client.h"

namespace hotspotctl {

namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// The terminal as it was, for the handler.
termios terminalBefore{};

// Nothing but system calls: it runs in the middle of anything. The signal's own effect comes next.
void restoreAndEnd(int signal) {
  tcsetattr(STDIN_FILENO, TCSANOW, &terminalBefore);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// Switches the terminal's echo off for as long as it lives, and on again should a signal end the
// program meanwhile. Ctrl-Z does nothing: a stopped program would leave the shell without echo. One
// at a time.
class Silence {
 public:
  Silence() {
    if (tcgetattr(STDIN_FILENO, &terminalBefore) != 0) return;
    for (const int signal : kEndingSignals) std::signal(signal, restoreAndEnd);
    termios silent = terminalBefore;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    silent.c_cc[VSUSP] = _POSIX_VDISABLE;
    changed_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
  }
  ~Silence() {
    if (!changed_) return;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &terminalBefore);
    for (const int signal : kEndingSignals) std::signal(signal, SIG_DFL);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  bool changed_ = false;
};

std::string readLine() {
  std::string line;
  std::getline(std::cin, line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (line.empty()) throw Failure("no password was given");
  return line;
}

std::string ask(const char* prompt) {
  const Silence silence;
  std::cerr << prompt << std::flush;
  std::string line = readLine();
  std::cerr << '\n';
  return line;
}

}  // namespace

std::string readPassword() {
  if (!isatty(STDIN_FILENO)) return readLine();
  std::string password = ask("Password: ");
  if (ask("Once more: ") != password) throw Failure("the two passwords differ");
  return password;
}

std::string hashPassword(const std::string& password) {
  char salt[CRYPT_GENSALT_OUTPUT_SIZE];
  const auto data = std::make_unique<crypt_data>();
  if (!crypt_gensalt_rn("$y$", 0, nullptr, 0, salt, sizeof salt)) {
    throw Failure("this system cannot make yescrypt hashes");
  }
  const char* hash = crypt_r(password.c_str(), salt, data.get());
  if (!hash || hash[0] == '*') throw Failure("this system cannot make yescrypt hashes");
  return hash;
}

}  // namespace hotspotctl
