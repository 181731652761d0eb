// From a reply to page variables, second half: the client's session and state, and why a command
// failed.

#include <unistd.h>

#include <ostream>
#include <sstream>
#include <utility>

#include "servlet/debug_out.h"
#include "servlet/hs_conn.h"
#include "template/format.h"
#include "vars/counter_vars.h"
#include "vars/env_writer.h"
#include "vars/yes_no.h"

namespace {

constexpr std::uint32_t kLoginTime = 0x08000003;
constexpr std::uint32_t kSessionEnd = 0x08000004;
constexpr std::uint32_t kIdleTimeout = 0x0800000e;
constexpr std::uint32_t kRefresh = 0x08000453;
constexpr std::uint32_t kLoginBy = 0x20000013;
constexpr std::uint32_t kRadius = 0x30000439;
constexpr std::uint32_t kPageMessage = 0x20000454;

constexpr std::uint32_t kStateBlocked = 3;

// Name of an error code of the manager. Codes without a name inside the table are empty.
std::string errorType(std::uint32_t code) {
  constexpr std::uint32_t kLastCode = 0x10;
  static const std::string errorTypeNames[kLastCode + 1] = {/* 0x0 */ "",
                                                            /* 0x1 */ "internal-error",
                                                            /* 0x2 */ "config-error",
                                                            /* 0x3 */ "not-logged-in",
                                                            /* 0x4 */ "ippool-empty",
                                                            /* 0x5 */ "shutting-down",
                                                            /* 0x6 */ "user-session-limit",
                                                            /* 0x7 */ "",
                                                            /* 0x8 */ "wrong-mac-username",
                                                            /* 0x9 */ "chap-missing",
                                                            /* 0xa */ "invalid-username",
                                                            /* 0xb */ "invalid-mac",
                                                            /* 0xc */ "uptime-limit",
                                                            /* 0xd */ "traffic-limit",
                                                            /* 0xe */ "radius-timeout",
                                                            /* 0xf */ "auth-in-progress",
                                                            /* 0x10 */ "radius-reply"};
  return code <= kLastCode ? errorTypeNames[code] : num2str(code, "unknown<0x%x>");
}

// Text of a duration for a page where 0 stands for "none".
std::string timeOrNothing(std::uint32_t seconds) {
  return seconds == 0 ? std::string() : getTimeStr(seconds);
}

}  // namespace

void HsConn::initSessionVars(const nv::message& reply, std::uint32_t state, EnvWriter& vars) {
  // Unsigned 32-bit differences: a time that has passed already wraps and is shown so.
  std::uint32_t uptime = 0;
  if (reply.size_u32(kLoginTime) != 0) uptime = nv::getUptime() - reply.get_u32(kLoginTime, 0);
  std::uint32_t left = 0;
  if (reply.size_u32(kSessionEnd) != 0) left = reply.get_u32(kSessionEnd, 0) - nv::getUptime();
  const std::uint32_t idle = reply.get_u32(kIdleTimeout, 0);
  // A session that ends sooner than the page would be refreshed: one second after its end.
  std::uint32_t refresh = reply.get_u32(kRefresh, 0);
  if (left > 0 && left < refresh) refresh = left + 1;

  vars.set("advert-pending", yesNo(state > 1));
  vars.set("blocked", yesNo(state == kStateBlocked));
  vars.set("idle-timeout", timeOrNothing(idle));
  vars.set("idle-timeout-secs", num2str(idle, "%u"));
  vars.set("login-by", reply.get_string(kLoginBy, ""));
  vars.set("refresh-timeout", timeOrNothing(refresh));
  vars.set("refresh-timeout-secs", num2str(refresh, "%u"));
  vars.set("session-id", getParam(params, "session-id", ""));
  // Both pairs are the time left; the names are synonyms.
  vars.set("session-time-left", timeOrNothing(left));
  vars.set("session-time-left-secs", num2str(left, "%u"));
  vars.set("session-timeout", timeOrNothing(left));
  vars.set("session-timeout-secs", num2str(left, "%u"));
  vars.set("uptime", getTimeStr(uptime));
  vars.set("uptime-secs", num2str(uptime, "%u"));
  vars.set("var", getParam(params, "var", ""));

  setCounterVars(vars, reply);
  if (reply.size_field(kRadius) != 0) radius.bytes = reply.get_raw(kRadius, {});
}

std::uint32_t HsConn::initErrorVars(const char* name, const nv::message& reply, EnvWriter& vars) {
  unsigned code = 0;
  std::string text;
  if (nv::isError(reply, &code, &text)) {
    if (text.empty()) text = nv::getError(reply);
    DebugOut() << name << " failed: " << text << std::endl;
    if (code == kErrDropClient) {
      close(req.socket);
      resp.keepAlive = false;
      resp.reusable = false;
    }
  }
  vars.set("error-orig", text);
  vars.set("error-type", errorType(code));
  vars.write();

  // The manager's own message for the page may name page variables, "error-type" among them.
  text = reply.get_string(kPageMessage, text);
  if (text.find_first_of("%$") != std::string::npos) {
    std::ostringstream rendered;
    rendered.exceptions(std::ios::badbit);  // out of memory ends the request, not the text
    useEnv(text.data(), static_cast<unsigned>(text.size()), rendered, false);
    text = rendered.str();
  }
  env["error"] = std::move(text);
  return code;
}
