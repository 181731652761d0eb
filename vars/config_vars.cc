// From a reply to page variables, first half: the client's agent, the hotspot's configuration, the
// links.

#include <unistd.h>

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "host/address.h"
#include "servlet/hs_conn.h"
#include "template/escape.h"
#include "vars/env_writer.h"
#include "vars/yes_no.h"

namespace {

constexpr std::uint32_t kLoggedIn = 0x00000451;
constexpr std::uint32_t kSslLogin = 0x00000452;
constexpr std::uint32_t kCfgFlags = 0x08000450;
constexpr std::uint32_t kHtmlDir = 0x2000044d;
constexpr std::uint32_t kMacAddress = 0x3000000b;
constexpr std::uint32_t kUserName = 0x20000001;
constexpr std::uint32_t kDomain = 0x20000008;
constexpr std::uint32_t kClientState = 0x08000011;

constexpr std::uint32_t kCfgPlainPasswd = 0x10;
constexpr std::uint32_t kCfgTrial = 0x20;

constexpr char kAgentToken[] = "LinkAgent";

// The system's host name; a fixed name when the system does not tell it.
std::string identity() {
  char buffer[66];
  if (gethostname(buffer, sizeof buffer) != 0) return "Quarnett";
  buffer[sizeof buffer - 1] = '\0';  // a name that fills the buffer comes without its end
  return buffer;
}

// Text of the client's MAC address: empty when the reply has none, that of 00:00:00:00:00:00 when
// it has one of a wrong length.
std::string macText(const nv::message& reply) {
  if (reply.size_field(kMacAddress) == 0) return std::string();
  const std::vector<unsigned char> raw = reply.get_raw(kMacAddress, {});
  MacAddr mac;
  if (raw.size() == sizeof mac.bytes) std::copy(raw.begin(), raw.end(), mac.bytes);
  return mac.str();
}

// The parts one behind the other, in memory that is asked for once.
std::string joined(std::initializer_list<std::string_view> parts) {
  std::size_t size = 0;
  for (const std::string_view part : parts) size += part.size();
  std::string text;
  text.reserve(size);
  for (const std::string_view part : parts) text += part;
  return text;
}

}  // namespace

std::uint32_t HsConn::initCfg(const char* name, const nv::message& reply) {
  // Pages see the bare product token, not the version behind it.
  std::string agent;
  if (req.headers.getHeader("user-agent", &agent)) {
    agent.erase(std::min(agent.find('/'), agent.size()));
    isAgent = agent == kAgentToken;
  }

  loggedIn = reply.get_bool(kLoggedIn, false);
  cfgFlags = reply.get_u32(kCfgFlags, 0);
  htmlDir = reply.get_string(kHtmlDir, "/home/web/hotspot/");
  const bool sslLogin = reply.get_bool(kSslLogin, false);
  EnvWriter vars(env);
  const std::string host = initServerName(reply, vars);
  std::string mac = macText(reply);
  std::string user = reply.get_string(kUserName, "");
  // A client that was logged in by its MAC address has that as its user name.
  const bool loggedInByMac = loggedIn && user == mac;

  vars.set("domain", reply.get_string(kDomain, ""));
  vars.set("hostname", host);
  vars.set("identity", identity());
  vars.set("ip", IPAddr{req.clientAddr}.str());
  vars.set("logged-in", yesNo(loggedIn));
  vars.set("login-by-mac", yesNo(loggedInByMac));
  vars.set("mac", std::move(mac));
  vars.set("plain-passwd", yesNo((cfgFlags & kCfgPlainPasswd) != 0));
  vars.set("ssl-login", yesNo(sslLogin));
  vars.set("target-dir", targetDir);
  vars.set("trial", yesNo((cfgFlags & kCfgTrial) != 0));
  vars.set("user-agent", std::move(agent));
  vars.set("username", std::move(user));

  initLinkVars(host, sslLogin, vars);
  initSessionVars(reply, reply.get_u32(kClientState, 0), vars);
  return initErrorVars(name, reply, vars);
}

void HsConn::initLinkVars(const std::string& host, bool sslLogin, EnvWriter& vars) {
  // Where the client wanted to go: what an earlier step of this request left in "link-orig" counts
  // when the client does not say, so it is read before it is overwritten.
  std::string dst = getParam(params, "dst", "");
  if (dst.empty()) dst = getParam(env, "link-orig", "");
  const std::string query = dst.empty() ? std::string() : "?dst=" + doEscapeString(dst);
  const std::string_view loginScheme = req.isSsl || sslLogin ? "https" : "http";
  const auto link = [&](std::string_view scheme, std::string_view page, std::string_view behind) {
    return joined({scheme, "://", host, "/", targetDir, page, behind});
  };

  // Only the login links take the scheme of a secure login; logout and status carry no destination.
  vars.set("link-advert", link("http", "advert", query));
  vars.set("link-alogin", link("http", "alogin", query));
  vars.set("link-login", link(loginScheme, "login", query));
  vars.set("link-login-only", link(loginScheme, "login", ""));
  vars.set("link-logout", link("http", "logout", ""));
  vars.set("link-orig", std::move(dst));
  vars.set("link-status", link("http", "status", ""));
}
