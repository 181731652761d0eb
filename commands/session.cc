// Logout, status and settings.

#include <cctype>

#include "commands/fields.h"
#include "servlet/hs_conn.h"

std::uint32_t HsConn::logout(bool eraseCookie) {
  nv::message msg;
  msg.insert_u32(kFieldScope, kScopeSession);
  if (eraseCookie) msg.insert_bool(kFieldEraseCookie, true);
  return doHsCmd(msg, kCmdLogout, "logout", nullptr, kCommandTimeoutMs);
}

std::uint32_t HsConn::getStatus() {
  nv::message msg;
  msg.insert_u32(kFieldScope, kScopeSession);
  return doHsCmd(msg, kCmdStatus, "status", nullptr, kCommandTimeoutMs);
}

std::uint32_t HsConn::setParams(nv::message& msg) {
  return doHsCmd(msg, kCmdSet, "set", nullptr, kCommandTimeoutMs);
}

void HsConn::processLogout() {
  // Only the word "false" (and no value) keeps the cookie: "no" and "0" erase it, on purpose.
  std::string value;
  if (getEnvParam(params, "erase-cookie", &value)) {
    for (char& c : value) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (value == "false") value.clear();
  }
  if (logout(!value.empty()) != 0) {
    showLoginRedirect("flogout");
  } else {
    showPage("logout", "");
  }
}

void HsConn::processStatus() {
  if (getStatus() != 0) {
    showLoginRedirect("fstatus");
  } else {
    showPage("status", "");
  }
}

// The command is sent also when there is nothing to set: its reply fills the page.
void HsConn::processSet() {
  nv::message msg;
  std::uint32_t idleTimeout = 0;
  if (getEnvParam(params, "idle-timeout", &idleTimeout)) {
    msg.insert_u32(kFieldIdleTimeout, idleTimeout);
  }
  if (setParams(msg) != 0) {
    showLoginRedirect("fset");
  } else {
    showPage("set", "status");
  }
}
