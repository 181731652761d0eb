// What the portal's requests say, read out of their fields.

#ifndef MANAGER_PORTAL_REQUEST_H_
#define MANAGER_PORTAL_REQUEST_H_

#include <cstdint>
#include <string>

#include "host/message.h"

namespace manager {

// Who asks.
struct Client {
  std::uint32_t address = 0;
  std::string mac;

  // What identifies the client over time: the MAC address where there is one.
  std::string key() const;
};

// A login command.
struct Login {
  Client client;
  std::string user;
  std::string password;
  std::string domain;
  std::string originalDestination;
  std::string radiusAttributes;
  std::uint32_t cookieId = 0;
  bool overHttps = false;

  std::string account() const;
  bool entered() const { return !user.empty() || !password.empty(); }
};

// Where an intercepted client wanted to go, "192.0.2.7:80"; empty where the request does not say.
std::string originalDestination(const nv::message& request);

Login loginOf(const nv::message& request, const Client& client);

}  // namespace manager

#endif  // MANAGER_PORTAL_REQUEST_H_
