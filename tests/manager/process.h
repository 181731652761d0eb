// The real programs, started by the test, and raw connections to their sockets.

#ifndef TESTS_MANAGER_PROCESS_H_
#define TESTS_MANAGER_PROCESS_H_

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/message.h"
#include "tests/manager/requests.h"
#include "tests/manager/temporary.h"

struct Finished {
  int status = -1;  // exit status, or 128 and the signal's number
  std::string out;
  std::string err;
};

// Runs a program to its end, with `input` as its standard input.
Finished runProgram(const std::vector<std::string>& words, const std::string& input = "");

// A connection to a SOCK_SEQPACKET socket. Waits at most ten seconds for anything.
class Connection {
 public:
  explicit Connection(const std::string& path);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool connected() const { return connected_; }
  void send(const std::string& packet);
  // False when the other side has ended the connection already.
  bool trySend(const std::string& packet);
  // True when an answer, or the end of the connection, is there to be read now.
  bool hasAnswer() const;
  // Nothing when the connection has ended or nothing came in time.
  std::optional<nv::message> receive();
  nv::message ask(const nv::message& request);

 private:
  int descriptor_ = -1;
  bool connected_ = false;
};

// A hotspot-manager with its files in a directory of its own.
class ManagerProcess {
 public:
  explicit ManagerProcess(std::vector<std::string> options = {});
  ~ManagerProcess();  // kills it when it still runs

  // Starts it and waits until it answers.
  void start();
  void signal(int number);
  // Waits for its end; gives the exit status as in Finished.
  int wait();
  void kill();
  pid_t pid() const { return pid_; }

  // One exchange over a connection of its own.
  nv::message ask(const nv::message& request);
  nv::message askAdmin(const std::string& verb, const std::string& arguments);
  nv::message chapLogin(const std::string& user, const std::string& password,
                        std::uint32_t client = kClient);
  // hotspotctl with these words.
  Finished ctl(std::vector<std::string> words, const std::string& input = "");

  std::string socket() const { return dir.file("manager.sock"); }
  std::string adminSocket() const { return dir.file("admin.sock"); }
  std::string log() const;

  TemporaryDir dir;
  // To be set before start().
  std::string database = dir.file("manager.db");
  std::vector<std::pair<std::string, std::string>> environment;

 private:
  const std::vector<std::string> options_;
  pid_t pid_ = 0;
};

std::string readFile(const std::string& path);

#endif  // TESTS_MANAGER_PROCESS_H_
