#include "tests/manager/requests.h"

#include "manager/admin_protocol.h"
#include "manager/portal_protocol.h"

namespace portal = manager::portal;

nv::message commandOf(std::uint32_t command, std::uint32_t client) {
  nv::message message;
  message.insert_u32_array(portal::kTo, {63, 13});
  message.insert_u32(portal::kCommand, command);
  message.insert_u32(portal::kClientAddress, client);
  return message;
}

nv::message loginOf(const LoginFields& fields, std::uint32_t client) {
  nv::message message = commandOf(portal::kLogin, client);
  message.insert_string(portal::kUserName, fields.user);
  message.insert_string(portal::kPassword, fields.password);
  message.insert_string(portal::kDomain, fields.domain);
  message.insert_bool(portal::kOverHttps, fields.overHttps);
  message.insert_u32(portal::kCookieId, fields.cookieId);
  return message;
}

nv::message adminOf(const std::string& verb, const std::string& arguments) {
  nv::message message;
  message.insert_string(manager::admin::kVerb, verb);
  message.insert_string(manager::admin::kArguments, arguments);
  return message;
}

unsigned errorCode(const nv::message& reply) {
  unsigned code = 0;
  nv::isError(reply, &code, nullptr);
  return code;
}

std::string errorText(const nv::message& reply) {
  std::string text;
  nv::isError(reply, nullptr, &text);
  return text;
}

bool isLoggedIn(const nv::message& reply) { return reply.get_bool(portal::kLoggedIn, false); }

std::uint32_t clientState(const nv::message& reply) {
  return reply.get_u32(portal::kClientState, 99);
}

std::string challengeOf(const nv::message& reply) {
  return reply.get_string(portal::kChapChallenge, "");
}
