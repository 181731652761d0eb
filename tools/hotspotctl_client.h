// The exchange with the manager's administration socket.

#ifndef TOOLS_HOTSPOTCTL_CLIENT_H_
#define TOOLS_HOTSPOTCTL_CLIENT_H_

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace hotspotctl {

// One line that says what the manager refused, or why it could not be asked.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One connection, made at the first question. Each question waits at most ten seconds for its
// answer.
class Client {
 public:
  explicit Client(const std::string& socketPath);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // The verb's result. Throws Failure.
  nlohmann::json ask(const std::string& verb, const nlohmann::json& arguments);

  // The rows of a list verb, all of them, as one array. Throws Failure.
  nlohmann::json askRows(const std::string& verb, nlohmann::json arguments);

 private:
  void connectOnce();

  const std::string socketPath_;
  int descriptor_ = -1;
};

}  // namespace hotspotctl

#endif  // TOOLS_HOTSPOTCTL_CLIENT_H_
