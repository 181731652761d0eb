// Messages as the portal's servlet and hotspotctl send them, and short readers of the replies.

#ifndef TESTS_MANAGER_REQUESTS_H_
#define TESTS_MANAGER_REQUESTS_H_

#include <cstdint>
#include <string>

#include "host/message.h"

constexpr std::uint32_t kClient = 0x7f000002;       // 127.0.0.2
constexpr std::uint32_t kOtherClient = 0x7f000003;  // 127.0.0.3

// A command with the fields that all of them carry.
nv::message commandOf(std::uint32_t command, std::uint32_t client = kClient);

struct LoginFields {
  std::string user{};
  std::string password{};
  std::string domain{};
  bool overHttps = false;
  std::uint32_t cookieId = 0;
};
nv::message loginOf(const LoginFields& fields, std::uint32_t client = kClient);

nv::message adminOf(const std::string& verb, const std::string& arguments);

unsigned errorCode(const nv::message& reply);  // 0 when the reply is no error
std::string errorText(const nv::message& reply);
bool isLoggedIn(const nv::message& reply);
std::uint32_t clientState(const nv::message& reply);
std::string challengeOf(const nv::message& reply);

#endif  // TESTS_MANAGER_REQUESTS_H_
