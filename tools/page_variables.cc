#include "tools/page_variables.h"

#include <algorithm>
#include <array>

namespace pages {
namespace {

using enum Topic;
using enum ValueKind;
using enum Origin;

constexpr std::string_view kAll = "*";
constexpr std::string_view kLoginPages = "login flogin";
constexpr std::string_view kRedirecting =
    "alogin redirect advert rstatus radvert rlogin flogout fstatus fset fadvert falogin";

constexpr PageVariable kVariables[] = {
    {"advert-pending", kSession, kYesNo, kManager, false, kAll, "", "an advertisement is due"},
    {"blocked", kSession, kYesNo, kManager, false, kAll, "",
     "an advertisement has to be looked at first"},
    {"bytes-in", kTraffic, kNumber, kManager, false, kAll, "",
     "bytes received from the client in this session"},
    {"bytes-in-nice", kTraffic, kBytes, kManager, false, kAll, "", "the same as people write it"},
    {"bytes-out", kTraffic, kNumber, kManager, false, kAll, "",
     "bytes sent to the client in this session"},
    {"bytes-out-nice", kTraffic, kBytes, kManager, false, kAll, "", "the same as people write it"},
    {"chap-challenge", kLogin, kOctal, kManager, true, kLoginPages, "",
     "challenge of CHAP; empty over HTTPS"},
    {"chap-id", kLogin, kOctal, kManager, true, kLoginPages, "",
     "identifier of CHAP; empty over HTTPS"},
    {"domain", kSession, kText, kClient, true, kAll, "",
     "domain of the session or of the login attempt"},
    {"error", kErrors, kText, kClient, true, kAll, "",
     "the message to show, the manager's own for this page or else its error text; empty when all "
     "is well"},
    {"error-orig", kErrors, kText, kClient, true, kAll, "",
     "the error text as the manager gave it"},
    {"error-type", kErrors, kErrorType, kManager, true, kAll, "",
     "the kind of the error as a fixed word (see below)"},
    {"hostname", kHotspot, kText, kManager, false, kAll, "",
     "host of all links: the DNS name that the manager gives, else the server's IPv4 address"},
    {"identity", kHotspot, kText, kManager, false, kAll, "",
     "the system's host name; Quarnett when it cannot be told"},
    {"idle-timeout", kSession, kDuration, kManager, true, kAll, "", "idle time-out; empty: none"},
    {"idle-timeout-secs", kSession, kNumber, kManager, false, kAll, "",
     "idle time-out in seconds; 0: none"},
    {"interface-name", kHotspot, kText, kManager, true, kAll, "",
     "name of the interface, as configured"},
    {"ip", kSession, kAddress, kManager, false, kAll, "", "the client's IPv4 address"},
    {"limit-bytes-in", kTraffic, kNumber, kManager, true, kAll, "",
     "limit of bytes-in; empty: none"},
    {"limit-bytes-out", kTraffic, kNumber, kManager, true, kAll, "",
     "limit of bytes-out; empty: none"},
    {"limit-bytes-total", kTraffic, kNumber, kManager, true, kAll, "",
     "limit of both together; empty: none"},
    {"link-advert", kLinks, kUrl, kClient, false, kAll, "",
     "advertisement page, with the destination; always http"},
    {"link-alogin", kLinks, kUrl, kClient, false, kAll, "",
     "after-login page, with the destination; always http"},
    {"link-login", kLinks, kUrl, kClient, false, kAll, "",
     "login page, with the destination when there is one; https when the request was, or when "
     "ssl-login is yes"},
    {"link-login-only", kLinks, kUrl, kClient, false, kAll, "", "the same without a destination"},
    {"link-logout", kLinks, kUrl, kClient, false, kAll, "",
     "logout page, without a destination; always http"},
    {"link-orig", kLinks, kUrl, kClient, true, kAll, "",
     "the address that the guest wanted first: parameter dst, else the intercepted address"},
    {"link-redirect", kLinks, kUrl, kClient, true, kRedirecting, "",
     "where this page sends the guest on"},
    {"link-status", kLinks, kUrl, kClient, false, kAll, "",
     "status page, without a destination; always http"},
    {"location-id", kHotspot, kText, kManager, true, kAll, "", "id of the location, as configured"},
    {"location-name", kHotspot, kText, kManager, true, kAll, "",
     "name of the location, as configured"},
    {"logged-in", kSession, kYesNo, kManager, false, kAll, "", "the client is logged in"},
    {"login-by", kSession, kText, kManager, true, kAll, "", "how the client logged in"},
    {"login-by-mac", kSession, kYesNo, kManager, false, kAll, "",
     "logged in with its MAC address as user name"},
    {"mac", kSession, kAddress, kManager, true, kAll, "",
     "the client's MAC address; empty when unknown"},
    {"packets-in", kTraffic, kNumber, kManager, false, kAll, "",
     "packets received from the client in this session"},
    {"packets-out", kTraffic, kNumber, kManager, false, kAll, "",
     "packets sent to the client in this session"},
    {"plain-passwd", kHotspot, kYesNo, kManager, false, kAll, "",
     "passwords may be sent as they are over HTTP"},
    {"popup", kLogin, kTrueFalse, kModule, false, "login flogin alogin", "redirect",
     "a status window is to be opened: parameter popup, else popup-default, else true; false after "
     "a login without a destination"},
    {"refresh-timeout", kSession, kDuration, kManager, true, kAll, "",
     "when the status page reloads itself, one second behind the session's end when that comes "
     "sooner; empty: never"},
    {"refresh-timeout-secs", kSession, kNumber, kManager, false, kAll, "",
     "the same in seconds; 0: never"},
    {"remain-bytes-in", kTraffic, kNumber, kManager, true, kAll, "",
     "what is left of limit-bytes-in; past it, the difference wraps to a very large number"},
    {"remain-bytes-out", kTraffic, kNumber, kManager, true, kAll, "",
     "what is left of limit-bytes-out; likewise"},
    {"remain-bytes-total", kTraffic, kNumber, kManager, true, kAll, "",
     "what is left of limit-bytes-total; likewise"},
    {"server-address", kHotspot, kAddress, kManager, false, kAll, "",
     "IPv4 address and port, always with the port, 80 or 443 by the scheme of the request"},
    {"server-name", kHotspot, kText, kManager, true, kAll, "", "name of the server, as configured"},
    {"session-id", kSession, kText, kClient, true, kAll, "",
     "the request's parameter of this name"},
    {"session-time-left", kSession, kDuration, kManager, true, kAll, "",
     "until the session ends; empty: no limit"},
    {"session-time-left-secs", kSession, kNumber, kManager, false, kAll, "",
     "the same in seconds; 0: no limit"},
    {"session-timeout", kSession, kDuration, kManager, true, kAll, "",
     "another name of session-time-left"},
    {"session-timeout-secs", kSession, kNumber, kManager, false, kAll, "",
     "another name of session-time-left-secs"},
    {"ssl-login", kHotspot, kYesNo, kManager, false, kAll, "",
     "the login page is to be reached over HTTPS"},
    {"target-dir", kHotspot, kText, kClient, true, kAll, "",
     "sub-directory of the page directory for this request; empty or with a slash at its end"},
    {"trial", kHotspot, kYesNo, kManager, false, kAll, "", "a trial login is offered"},
    {"uptime", kSession, kDuration, kManager, false, kAll, "", "time since the login"},
    {"uptime-secs", kSession, kNumber, kManager, false, kAll, "", "the same in seconds"},
    {"user-agent", kSession, kText, kClient, true, kAll, "",
     "first product token of the browser's header, without its version"},
    {"username", kSession, kText, kClient, true, kAll, "",
     "user of the session or of the login attempt"},
    {"var", kSession, kText, kClient, true, kAll, "", "the request's parameter of this name"},
};

constexpr std::string_view kErrorTypes[] = {
    "internal-error",   "config-error",       "not-logged-in",      "ippool-empty",
    "shutting-down",    "user-session-limit", "wrong-mac-username", "chap-missing",
    "invalid-username", "invalid-mac",        "uptime-limit",       "traffic-limit",
    "radius-timeout",   "auth-in-progress",   "radius-reply"};

static_assert(std::ranges::is_sorted(kVariables, {}, &PageVariable::name));

}  // namespace

std::span<const PageVariable> pageVariables() { return kVariables; }

std::string_view topicName(Topic topic) {
  static constexpr std::array<std::string_view, 6> kNames = {"hotspot", "links",  "session",
                                                             "traffic", "errors", "login"};
  static_assert(static_cast<std::size_t>(kLogin) + 1 == kNames.size());
  return kNames[static_cast<std::size_t>(topic)];
}

const PageVariable* findVariable(std::string_view name) {
  const auto* const found = std::ranges::lower_bound(kVariables, name, {}, &PageVariable::name);
  return found != std::end(kVariables) && found->name == name ? found : nullptr;
}

std::span<const std::string_view> errorTypes() { return kErrorTypes; }

bool lists(std::string_view list, std::string_view page) {
  if (list == kAll) return true;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(' '), list.size());
    if (!page.empty() && list.substr(0, end) == page) return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

bool isHarmless(ValueKind kind) { return kind != kOctal && kind != kText && kind != kUrl; }

}  // namespace pages
