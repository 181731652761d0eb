// The manager's side of the exchange: the input is requests, field by field, with an empty line
// between two. Each is answered once, by a message that can be sent; nobody is logged in without
// the password; and a session is its client's alone.

#include <spdlog/spdlog.h>

#include <algorithm>
#include <set>
#include <string>

#include "fuzz/check.h"
#include "fuzz/field_lines.h"
#include "manager/portal_protocol.h"
#include "tests/manager/bench.h"

namespace {

namespace portal = manager::portal;

constexpr std::size_t kLongest = 8192;
constexpr char kUser[] = "anna";
constexpr char kPassword[] = "secret";

// One manager for all inputs; it has no session before and after each.
class Manager {
 public:
  Manager() {
    spdlog::set_level(spdlog::level::off);
    bench_.base.plainPasswd = true;
    bench_.restart();
    bench_.addUser(kUser, kPassword);
  }

  nv::message ask(const nv::message& request) {
    int answers = 0;
    nv::message reply;
    bench_.parts->portal.receive(request, [&](const nv::message& message) {
      ++answers;
      reply = message;
    });
    bench_.runUntil([&] { return answers > 0; });
    bench_.parts->loop.poll();
    fuzz::check(answers == 1, "a request is answered once");
    fuzz::check(reply.fits(), "an answer can be sent");
    nv::message received;
    const std::string& wire = reply.encode();
    fuzz::check(received.decode(wire.data(), wire.size()), "an answer is a message");
    return reply;
  }

  void logOut(std::uint32_t client) {
    nv::message request = commandOf(portal::kLogout, client);
    request.insert_bool(portal::kEraseCookie, true);
    ask(request);
    fuzz::check(!isLoggedIn(ask(commandOf(portal::kStatus, client))),
                "nobody is logged in after the logout");
  }

 private:
  Bench bench_;
};

// The fields that every command carries, and over them the input's.
nv::message requestOf(const std::string& lines) {
  nv::message request = commandOf(portal::kStatus, kClient);
  const nv::message fields = fuzz::readFieldLines(lines);
  for (const std::uint32_t id : fields.ids()) {
    switch (nv::typeOf(id)) {
      case nv::kBool:
        request.insert_bool(id, fields.get_bool(id, false));
        break;
      case nv::kU32:
        request.insert_u32(id, fields.get_u32(id, 0));
        break;
      case nv::kU64:
        request.insert_u64(id, fields.get_u64(id, 0));
        break;
      case nv::kString:
        request.insert_string(id, fields.get_string(id, ""));
        break;
      case nv::kRaw:
        request.insert_raw(id, fields.get_raw(id, {}));
        break;
      default:
        request.insert_u32_array(id, fields.get_u32_array(id, {}));
    }
  }
  return request;
}

bool knowsPassword(const nv::message& request) {
  return request.get_u32(portal::kCommand, 0) == portal::kLogin &&
         request.get_string(portal::kUserName, "") == kUser &&
         request.get_string(portal::kPassword, "") == kPassword &&
         request.get_string(portal::kDomain, "").empty();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kLongest) return 0;
  static Manager manager;
  const std::string text = fuzz::textOf(data, size);
  std::set<std::uint32_t> clients;  // that gave the password
  std::set<std::uint32_t> seen;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find("\n\n", at), text.size());
    const nv::message request = requestOf(text.substr(at, end - at));
    const std::uint32_t client = request.get_u32(portal::kClientAddress, 0);
    if (client != 0) seen.insert(client);
    if (knowsPassword(request)) clients.insert(client);
    const nv::message reply = manager.ask(request);
    fuzz::check(!isLoggedIn(reply) || clients.count(client) != 0,
                "nobody is logged in without the password");
    at = end + 2;
  }
  for (const std::uint32_t client : seen) {
    const bool logged = isLoggedIn(manager.ask(commandOf(portal::kStatus, client)));
    fuzz::check(!logged || clients.count(client) != 0, "a session is its client's alone");
    if (logged) manager.logOut(client);
  }
  return 0;
}
