// The real hotspot-web with the tests' own module, or another, in a temporary directory.

#ifndef TESTS_WEBSERVER_SERVER_PROCESS_H_
#define TESTS_WEBSERVER_SERVER_PROCESS_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

class ServerProcess {
 public:
  ServerProcess();
  // Kills what still runs and removes the directory.
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  // Writes the settings file. A line for the module, and one that turns the access log off, are
  // added.
  void settings(const std::string& toml, const std::string& module = TEST_SERVLET);
  // Starts the server with the settings file and waits until it listens: on one plain port if the
  // settings name none. Fails the test when it does not.
  void start(const std::vector<std::string>& options = {});
  // Starts it where it is expected to end by itself; gives its exit status.
  int runToEnd(const std::vector<std::string>& options);

  void signal(int number) const;
  // Waits for the end of the supervisor; its exit status, or -1 after 30 s.
  int wait();
  bool running();

  // Port of the n-th listener.
  unsigned port(std::size_t index = 0) const { return ports_.at(index); }
  // Process ids of the workers as they are now.
  std::vector<pid_t> workers() const;
  // Keeps a worker from running, until resume(). Connections wait for another one, or for it.
  static void pause(pid_t worker);
  static void resume(pid_t worker);

  std::string file(const std::string& name) const { return directory_ + "/" + name; }
  // Standard error so far, and standard output.
  std::string log() const;
  std::string output() const;

  pid_t pid() const { return pid_; }

 private:
  void spawn(const std::vector<std::string>& options);

  std::string directory_;
  pid_t pid_ = -1;
  bool wroteSettings_ = false;
  std::vector<unsigned> ports_;
};

std::string readFile(const std::string& path);

// Tries until the condition holds, for up to 20 seconds.
bool eventually(const std::function<bool()>& condition);

#endif  // TESTS_WEBSERVER_SERVER_PROCESS_H_
