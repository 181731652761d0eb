// From a reply to page variables, first half: the client's agent, the hotspot's configuration, the
// links.

#include <unistd.h>

#include <algorithm>

#include "host/address.h"
#include "servlet/hs_conn.h"
#include "template/escape.h"
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

}  // namespace

std::uint32_t HsConn::initCfg(const char* name, const nv::message& reply) {
  // Pages see the bare product token, not the version behind it.
  std::string agent;
  if (req.headers.getHeader("user-agent", &agent)) {
    agent.erase(std::min(agent.find('/'), agent.size()));
    isAgent = agent == kAgentToken;
  }
  env["user-agent"] = agent;

  loggedIn = reply.get_bool(kLoggedIn, false);
  cfgFlags = reply.get_u32(kCfgFlags, 0);
  htmlDir = reply.get_string(kHtmlDir, "/home/web/hotspot/");
  const bool sslLogin = reply.get_bool(kSslLogin, false);
  const std::string host = initServerName(reply);
  env["ssl-login"] = yesNo(sslLogin);
  env["plain-passwd"] = yesNo((cfgFlags & kCfgPlainPasswd) != 0);
  env["trial"] = yesNo((cfgFlags & kCfgTrial) != 0);
  env["identity"] = identity();
  env["hostname"] = host;
  env["target-dir"] = targetDir;
  initLinkVars(host, sslLogin);

  const std::string mac = macText(reply);
  const std::string user = reply.get_string(kUserName, "");
  env["logged-in"] = yesNo(loggedIn);
  env["ip"] = IPAddr{req.clientAddr}.str();
  env["mac"] = mac;
  env["username"] = user;
  env["domain"] = reply.get_string(kDomain, "");
  // A client that was logged in by its MAC address has that as its user name.
  env["login-by-mac"] = yesNo(loggedIn && user == mac);

  initSessionVars(reply, reply.get_u32(kClientState, 0));
  return initErrorVars(name, reply);
}

void HsConn::initLinkVars(const std::string& host, bool sslLogin) {
  const std::string base = "://" + host + '/' + targetDir;
  const std::string loginScheme = req.isSsl || sslLogin ? "https" : "http";
  // Where the client wanted to go: what an earlier step of this request left in "link-orig" counts
  // when the client does not say, so it is read before it is overwritten.
  std::string dst = getParam(params, "dst", "");
  if (dst.empty()) dst = getParam(env, "link-orig", "");
  const std::string query = dst.empty() ? std::string() : "?dst=" + doEscapeString(dst);

  // Only the login links take the scheme of a secure login; logout and status carry no destination.
  env["link-logout"] = "http" + base + "logout";
  env["link-login-only"] = loginScheme + base + "login";
  env["link-login"] = loginScheme + base + "login" + query;
  env["link-status"] = "http" + base + "status";
  env["link-advert"] = "http" + base + "advert" + query;
  env["link-alogin"] = "http" + base + "alogin" + query;
  env["link-orig"] = dst;
}
