// The login page, and the two outcomes that other handlers share: the page after a login and the
// redirect to the login page.

#include <sys/stat.h>

#include "commands/fields.h"
#include "servlet/cookies.h"
#include "servlet/hs_conn.h"
#include "template/format.h"
#include "vars/counter_vars.h"

namespace {

// WISPr-Redirection-URL: where a RADIUS server wants the client to go after its login.
constexpr unsigned kVendorWispr = 14122;
constexpr unsigned kWisprRedirectionUrl = 4;

}  // namespace

std::uint32_t HsConn::login(const std::string& user, const std::string& password,
                            const std::string& domain, std::uint32_t cookieId, nv::message* reply) {
  nv::message msg;
  msg.insert_string(kFieldUser, user);
  msg.insert_string(kFieldPassword, password);
  msg.insert_string(kFieldDomain, domain);
  msg.insert_bool(kFieldIsSsl, req.isSsl);
  msg.insert_u32(kFieldCookieId, cookieId);
  insertRadius(msg);
  insertProxy(msg);
  return doHsCmd(msg, kCmdLogin, "login", reply, kLoginTimeoutMs);
}

// The command is sent on every visit, also without a user name: the client may be known by its
// address or its cookie.
void HsConn::processLogin() {
  std::string user;
  if (!getEnvParam(params, "username", &user)) getEnvParam(params, "user", &user);
  nv::message reply;
  const std::uint32_t err = login(user, getParam(params, "password", ""),
                                  getParam(params, "domain", ""), getCookieId(req), &reply);
  if (loggedIn) {
    showAfterLogin(reply);
    return;
  }
  // Over HTTPS the password is sent as it is: no challenge.
  initChap(env, req.isSsl ? std::string() : reply.get_string(kFieldChap, ""));
  if (!isAgent) env["popup"] = getPopup();
  if (err == 0) {
    showPage("login", "");
  } else {
    showPage("flogin", "login");
  }
}

void HsConn::showAfterLogin(const nv::message& reply) {
  const std::uint32_t cookieId = reply.get_u32(kFieldCookieId, 0);
  if (cookieId != 0) {
    resp.headers.addHeader("Set-Cookie",
                           createCookie(kLoginCookie, num2str(cookieId, "%u"),
                                        reply.get_u32(kFieldCookieSecs, 0), "/login"),
                           false);
  }
  std::string target;
  radius.get(kVendorWispr, kWisprRedirectionUrl, &target, 0);
  if (target.empty()) target = env["link-orig"];
  if (!target.empty()) {
    env["popup"] = getPopup();
    if (req.isSsl) {
      resp.keepAlive = false;
      resp.reusable = false;
    }
  } else {
    target = env["link-status"];
    env["popup"] = "false";
  }
  env["link-redirect"] = target;
  showPage("alogin", "redirect");
}

void HsConn::showLoginRedirect(std::string page) {
  const std::string loginLink = env["link-login"];
  env["link-redirect"] = loginLink;
  struct stat info;
  // In the page directory itself, not in the target directory, on purpose.
  if (stat((htmlDir + page + ".html").c_str(), &info) != 0) {
    resp.setStatus(req.method == kMethodGet ? 302 : 303, "Hotspot login required");
    resp.headers.addHeader("Location", loginLink, false);
  }
  showPage(page, "redirect");
}
