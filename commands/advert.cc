// Advertisements, the after-login page on request, the client lookup, and requests that name no
// page.

#include "commands/fields.h"
#include "servlet/hs_conn.h"

namespace {

constexpr std::uint32_t kConnALogin = kConnALoginA | kConnALoginB;

}  // namespace

std::uint32_t HsConn::advert(nv::message* reply) {
  nv::message msg;
  msg.insert_u32(kFieldScope, kScopeClient);
  return doHsCmd(msg, kCmdAdvert, "advert", reply, kCommandTimeoutMs);
}

std::uint32_t HsConn::alogin() {
  nv::message msg;
  msg.insert_u32(kFieldScope, kScopeClient);
  return doHsCmd(msg, kCmdALogin, "alogin", nullptr, kCommandTimeoutMs);
}

std::uint32_t HsConn::getClInfo() {
  nv::message msg;
  msg.insert_u32(kFieldScope, kScopeClient);
  insertProxy(msg);
  return doHsCmd(msg, kCmdGet, "get", nullptr, kCommandTimeoutMs);
}

void HsConn::processAdvert() {
  nv::message reply;
  if (advert(&reply) != 0) {
    showLoginRedirect("fadvert");
    return;
  }
  const std::string address = reply.get_string(kFieldAdvertUrl, "");
  if (!address.empty()) {
    env["link-redirect"] = address;
    showPage("advert", "redirect");
  } else {
    env["link-redirect"] = env["link-orig"];
    showPage("redirect", "");
  }
}

void HsConn::processALogin() {
  if (alogin() != 0) {
    showLoginRedirect("falogin");
  } else {
    showAfterLogin(nv::message());
  }
}

void HsConn::processUnknown(bool isLocal) {
  if (!isLocal) {
    // Before the command: initCfg takes the destination of the login links from here.
    std::string host;
    std::string address;
    if (req.getDstHost(host)) address = protoNames[req.protocol] + ("://" + host) + req.path;
    env["link-orig"] = address;
  }
  if (getClInfo() != 0) {
    showPage("error", "");
  } else if (!loggedIn) {
    showLoginRedirect("rlogin");
  } else if (isLocal) {
    env["link-redirect"] = env["link-status"];
    showPage("rstatus", "redirect");
  } else if ((req.connFlags & kConnAdvertDue) != 0) {
    env["link-redirect"] = env["link-advert"];
    showPage("radvert", "redirect");
  } else if ((req.connFlags & kConnALogin) == kConnALogin) {
    env["link-redirect"] = env["link-alogin"];
    showPage("redirect", "");
  } else {
    showAfterLogin(nv::message());
  }
}
