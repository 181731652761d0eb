#include "tools/page_variables.h"

#include <algorithm>

namespace pages {
namespace {

using enum ValueKind;
using enum Origin;

constexpr std::string_view kAll = "*";
constexpr std::string_view kLoginPages = "login flogin";
constexpr std::string_view kRedirecting =
    "alogin redirect advert rstatus radvert rlogin flogout fstatus fset fadvert falogin";

constexpr PageVariable kVariables[] = {
    {"advert-pending", kYesNo, kManager, false, kAll, "", "an advertisement is due"},
    {"blocked", kYesNo, kManager, false, kAll, "", "an advertisement has to be looked at first"},
    {"bytes-in", kNumber, kManager, false, kAll, "", "bytes received from the client"},
    {"bytes-in-nice", kBytes, kManager, false, kAll, "", "the same in short human form"},
    {"bytes-out", kNumber, kManager, false, kAll, "", "bytes sent to the client"},
    {"bytes-out-nice", kBytes, kManager, false, kAll, "", "the same in short human form"},
    {"chap-challenge", kOctal, kManager, true, kLoginPages, "",
     "CHAP challenge as octal escapes; empty over HTTPS"},
    {"chap-id", kOctal, kManager, true, kLoginPages, "",
     "CHAP identifier as an octal escape; empty over HTTPS"},
    {"domain", kText, kClient, true, kAll, "", "domain of the session or of the login attempt"},
    {"error", kText, kClient, true, kAll, "", "the message to show; empty when all is well"},
    {"error-orig", kText, kClient, true, kAll, "", "the error text as the manager gave it"},
    {"error-type", kErrorType, kManager, true, kAll, "", "the kind of the error as a fixed word"},
    {"hostname", kText, kManager, false, kAll, "",
     "host of all links: DNS name from the manager, else the server's IPv4 address"},
    {"identity", kText, kManager, false, kAll, "", "the system's host name"},
    {"idle-timeout", kDuration, kManager, true, kAll, "", "idle time-out; empty: none"},
    {"idle-timeout-secs", kNumber, kManager, false, kAll, "", "idle time-out in seconds; 0: none"},
    {"interface-name", kText, kManager, true, kAll, "", "name of the interface, as configured"},
    {"ip", kAddress, kManager, false, kAll, "", "the client's IPv4 address"},
    {"limit-bytes-in", kNumber, kManager, true, kAll, "", "limit of bytes-in; empty: none"},
    {"limit-bytes-out", kNumber, kManager, true, kAll, "", "limit of bytes-out; empty: none"},
    {"limit-bytes-total", kNumber, kManager, true, kAll, "", "limit of both together; empty: none"},
    {"link-advert", kUrl, kClient, false, kAll, "", "advertisement page, with the destination"},
    {"link-alogin", kUrl, kClient, false, kAll, "", "after-login page, with the destination"},
    {"link-login", kUrl, kClient, false, kAll, "",
     "login page, with the destination when there is one"},
    {"link-login-only", kUrl, kClient, false, kAll, "", "login page without a destination"},
    {"link-logout", kUrl, kClient, false, kAll, "", "logout page, always http"},
    {"link-orig", kUrl, kClient, true, kAll, "", "the address that the guest wanted first"},
    {"link-redirect", kUrl, kClient, true, kRedirecting, "", "where this page sends the guest on"},
    {"link-status", kUrl, kClient, false, kAll, "", "status page, always http"},
    {"location-id", kText, kManager, true, kAll, "", "id of the location, as configured"},
    {"location-name", kText, kManager, true, kAll, "", "name of the location, as configured"},
    {"logged-in", kYesNo, kManager, false, kAll, "", "the client is logged in"},
    {"login-by", kText, kManager, true, kAll, "", "how the client logged in"},
    {"login-by-mac", kYesNo, kManager, false, kAll, "",
     "logged in with its MAC address as user name"},
    {"mac", kAddress, kManager, true, kAll, "", "the client's MAC address; empty when unknown"},
    {"packets-in", kNumber, kManager, false, kAll, "", "packets received from the client"},
    {"packets-out", kNumber, kManager, false, kAll, "", "packets sent to the client"},
    {"plain-passwd", kYesNo, kManager, false, kAll, "",
     "passwords may be sent as they are over HTTP"},
    {"popup", kTrueFalse, kModule, false, "login flogin alogin", "redirect",
     "a status window is to be opened"},
    {"refresh-timeout", kDuration, kManager, true, kAll, "",
     "when the status page reloads itself; empty: never"},
    {"refresh-timeout-secs", kNumber, kManager, false, kAll, "", "the same in seconds; 0: never"},
    {"remain-bytes-in", kNumber, kManager, true, kAll, "", "what is left of limit-bytes-in"},
    {"remain-bytes-out", kNumber, kManager, true, kAll, "", "what is left of limit-bytes-out"},
    {"remain-bytes-total", kNumber, kManager, true, kAll, "", "what is left of limit-bytes-total"},
    {"server-address", kAddress, kManager, false, kAll, "", "IPv4 address and port, 80 or 443"},
    {"server-name", kText, kManager, true, kAll, "", "name of the server, as configured"},
    {"session-id", kText, kClient, true, kAll, "", "the request's parameter of this name"},
    {"session-time-left", kDuration, kManager, true, kAll, "",
     "until the session ends; empty: no limit"},
    {"session-time-left-secs", kNumber, kManager, false, kAll, "",
     "the same in seconds; 0: no limit"},
    {"session-timeout", kDuration, kManager, true, kAll, "", "another name of session-time-left"},
    {"session-timeout-secs", kNumber, kManager, false, kAll, "",
     "another name of session-time-left-secs"},
    {"ssl-login", kYesNo, kManager, false, kAll, "", "the login page is to be reached over HTTPS"},
    {"target-dir", kText, kClient, true, kAll, "",
     "sub-directory of the page directory; empty or with a slash at its end"},
    {"trial", kYesNo, kManager, false, kAll, "", "a trial login is offered"},
    {"uptime", kDuration, kManager, false, kAll, "", "time since the login"},
    {"uptime-secs", kNumber, kManager, false, kAll, "", "the same in seconds"},
    {"user-agent", kText, kClient, true, kAll, "", "first product token of the browser's header"},
    {"username", kText, kClient, true, kAll, "", "user of the session or of the login attempt"},
    {"var", kText, kClient, true, kAll, "", "the request's parameter of this name"},
};

constexpr std::string_view kErrorTypes[] = {
    "internal-error",   "config-error",       "not-logged-in",      "ippool-empty",
    "shutting-down",    "user-session-limit", "wrong-mac-username", "chap-missing",
    "invalid-username", "invalid-mac",        "uptime-limit",       "traffic-limit",
    "radius-timeout",   "auth-in-progress",   "radius-reply"};

static_assert(std::ranges::is_sorted(kVariables, {}, &PageVariable::name));

}  // namespace

std::span<const PageVariable> pageVariables() { return kVariables; }

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
