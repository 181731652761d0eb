// Stands in for the hotspot manager: a SOCK_SEQPACKET socket whose every request goes to a function
// of the test's.

#ifndef TESTS_WEBSERVER_SCRIPTED_MANAGER_H_
#define TESTS_WEBSERVER_SCRIPTED_MANAGER_H_

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/message.h"

// One thread for each connection, on which the function runs.
class ScriptedManager {
 public:
  // `connection` is the socket on which the request came, for answers out of the ordinary.
  using Handler = std::function<void(int connection, const nv::message& request)>;

  ScriptedManager();
  ~ScriptedManager();

  // REQUIRES: stopped.
  void start(Handler handler);
  // Closes every connection, removes the socket and waits for the threads.
  void stop();

  const std::string& path() const { return path_; }
  int connections() const { return connections_; }
  int requests() const { return requests_; }

  static void send(int connection, const nv::message& message);
  static void sendBytes(int connection, const std::string& bytes);
  // A reply that carries the request's number and a text.
  static nv::message replyTo(const nv::message& request, const std::string& text);
  // Answers each request with `text`.
  static Handler answering(const std::string& text);

 private:
  void accept();
  void serve(int connection);

  std::string directory_, path_;
  Handler handler_;
  int listener_ = -1;
  std::thread acceptor_;
  std::mutex mutex_;
  std::vector<int> open_;
  std::list<std::thread> threads_;
  std::atomic<int> connections_{0};
  std::atomic<int> requests_{0};
};

// The field of a reply's text.
constexpr std::uint32_t kTextField = 0x20000001;

#endif  // TESTS_WEBSERVER_SCRIPTED_MANAGER_H_
