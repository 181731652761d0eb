// Assignment of the page variables that come from a reply, all in one go.

#ifndef VARS_ENV_WRITER_H_
#define VARS_ENV_WRITER_H_

#include <cstddef>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>

// Their names, in ascending order.
inline constexpr std::string_view kReplyVars[] = {
    "advert-pending",
    "blocked",
    "bytes-in",
    "bytes-in-nice",
    "bytes-out",
    "bytes-out-nice",
    "domain",
    "error-orig",
    "error-type",
    "hostname",
    "identity",
    "idle-timeout",
    "idle-timeout-secs",
    "interface-name",
    "ip",
    "limit-bytes-in",
    "limit-bytes-out",
    "limit-bytes-total",
    "link-advert",
    "link-alogin",
    "link-login",
    "link-login-only",
    "link-logout",
    "link-orig",
    "link-status",
    "location-id",
    "location-name",
    "logged-in",
    "login-by",
    "login-by-mac",
    "mac",
    "packets-in",
    "packets-out",
    "plain-passwd",
    "refresh-timeout",
    "refresh-timeout-secs",
    "remain-bytes-in",
    "remain-bytes-out",
    "remain-bytes-total",
    "server-address",
    "server-name",
    "session-id",
    "session-time-left",
    "session-time-left-secs",
    "session-timeout",
    "session-timeout-secs",
    "ssl-login",
    "target-dir",
    "trial",
    "uptime",
    "uptime-secs",
    "user-agent",
    "username",
    "var",
};

// One of these names. The compiler looks it up; it takes no other.
class ReplyVar {
 public:
  consteval ReplyVar(const char* name) {
    while (place_ < std::size(kReplyVars) && kReplyVars[place_] != name) ++place_;
    if (place_ == std::size(kReplyVars)) notInTheTable();
  }
  std::size_t place() const { return place_; }

 private:
  static void notInTheTable();  // no function of a constant expression

  std::size_t place_ = 0;
};

// Collects variables in any order, and sets them as the map's index operation does.
class EnvWriter {
 public:
  // `env` outlives the object.
  explicit EnvWriter(std::map<std::string, std::string>& env) : env_(env) {}

  // The last value of a variable counts.
  void set(ReplyVar var, std::string value) {
    values_[var.place()] = std::move(value);
    count_ += isSet_[var.place()] ? 0 : 1;
    isSet_[var.place()] = true;
  }

  // Sets what has been collected. Called once, at the end.
  void write();

 private:
  std::map<std::string, std::string>& env_;
  std::string values_[std::size(kReplyVars)];
  bool isSet_[std::size(kReplyVars)] = {};
  std::size_t count_ = 0;
};

#endif  // VARS_ENV_WRITER_H_
