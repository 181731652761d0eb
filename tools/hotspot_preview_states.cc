#include "tools/hotspot_preview_states.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace preview {
namespace {

using Pair = std::pair<const char*, const char*>;

// What most states are made of.
const Values kPlace = {
    {"location-name", "Harbour Caf\u00e9"},
    {"location-id", "isocc=lv,cc=371,ac=67,network=cafe"},
    {"hostname", "portal.example.net"},
    {"server-name", "hotspot1"},
    {"interface-name", "wlan0"},
    {"ip", "10.5.50.2"},
    {"mac", "001a2b3c4d5e"},
    {"user-agent", "Mozilla/5.0 (Linux; Android 14)"},
    {"method", "GET"},
};

const Values kGuestAlone = {{"chap", "yes"}, {"page", "login"}};

const Values kSessionAlone = {
    {"logged-in", "yes"},
    {"username", "anna"},
    {"login-by", "http-chap"},
    {"uptime", "600"},
    {"session-time-left", "3000"},
    {"idle-timeout", "300"},
    {"refresh-timeout", "60"},
    {"state", "1"},
    {"bytes-in", "5000000"},
    {"bytes-out", "60000000"},
    {"packets-in", "8200"},
    {"packets-out", "51000"},
    {"limit-bytes-total", "100000000"},
    {"page", "status"},
};

Values joined(const Values& over, const Values& under) {
  Values values = over;
  values.insert(under.begin(), under.end());
  return values;
}

const Values kGuest = joined(kGuestAlone, kPlace);
const Values kSession = joined(kSessionAlone, kPlace);

constexpr char kWanted[] = "http://www.example.com/news?a=1&b=2";
constexpr char kSite[] = "www.example.com";

struct Row {
  const char* name;
  const char* group;
  const char* title;
  const char* page;
  const Values& base;
  std::initializer_list<Pair> changes;
};

struct ErrorRow {
  const char* type;  // as the page has it in "error-type"
  const char* title;
  const char* code;
  const char* text;  // the manager's
};

constexpr ErrorRow kErrors[] = {
    {"internal-error", "Something is wrong inside", "1",
     "hotspot manager cannot write its database"},
    {"config-error", "The hotspot is set up wrongly", "2", "the account's profile does not exist"},
    {"not-logged-in", "Not logged in", "3", "you are not logged in"},
    {"ippool-empty", "No address is free", "4", "no more free addresses"},
    {"shutting-down", "The hotspot is shutting down", "5", "hotspot manager is shutting down"},
    {"user-session-limit", "Too many devices", "6", "no more sessions are allowed for this user"},
    {"wrong-mac-username", "A device's name", "8", "this user name is for devices alone"},
    {"chap-missing", "Not protected", "9", "the password was not protected"},
    {"invalid-username", "Wrong name or password", "10", "invalid username or password"},
    {"invalid-mac", "Another device's account", "11", "not from this device"},
    {"uptime-limit", "Time used up", "12", "the account's time is used up"},
    {"traffic-limit", "Traffic used up", "13", "the account's traffic is used up"},
    {"radius-timeout", "The accounts' server is silent", "14", "RADIUS server is not responding"},
    {"auth-in-progress", "Tried too often", "15", "too many wrong passwords from this client"},
    {"radius-reply", "The accounts' server says no", "16", "Ask at the bar for a new code"},
    {"manager-unreachable", "The manager is not there", "16646145",
     "hotspot manager is not reachable"},
    {"manager-silent", "The manager is silent", "16646146",
     "hotspot manager did not answer in time"},
    {"unknown", "An error without a name", "31", "an error that has no name"},
};

constexpr char kLogin[] = "Log in";
constexpr char kLoggedIn[] = "Logged in";
constexpr char kAdverts[] = "Advertisements";
constexpr char kHeldBack[] = "Held back on the way to another site";
constexpr char kLogout[] = "Log out";
constexpr char kFailed[] = "Log-in failed";
constexpr char kErrorsElsewhere[] = "Other failures";
constexpr char kAgent[] = "Agent program";

const Row kBeforeErrors[] = {
    {"login", kLogin, "Fresh", "login", kGuest, {}},
    {"login-address", kLogin, "With an address to go on to", "login", kGuest, {{"dst", kWanted}}},
    {"login-trial", kLogin, "A trial is offered", "login", kGuest, {{"trial", "yes"}}},
    {"login-https", kLogin, "Over HTTPS", "login", kGuest, {{"https", "yes"}}},
    {"login-to-https", kLogin, "Leads to HTTPS", "login", kGuest, {{"ssl-login", "yes"}}},
    {"login-plain",
     kLogin,
     "Passwords as they are",
     "login",
     kGuest,
     {{"plain-passwd", "yes"}, {"chap", "no"}}},
    {"login-voucher", kLogin, "Parameter var is voucher", "login", kGuest, {{"var", "voucher"}}},
    {"login-nameless",
     kLogin,
     "The place has no name",
     "login",
     kGuest,
     {{"location-name", ""}, {"server-name", ""}, {"location-id", ""}}},
};

const Row kAfterErrors[] = {
    {"alogin", kLoggedIn, "Just logged in", "alogin", kSession, {{"page", "login"}}},
    {"alogin-address",
     kLoggedIn,
     "Just logged in, with an address to go on to",
     "alogin",
     kSession,
     {{"page", "login"}, {"dst", kWanted}}},
    {"status", kLoggedIn, "Status", "status", kSession, {}},
    {"status-address",
     kLoggedIn,
     "Status, with an address to go on to",
     "status",
     kSession,
     {{"dst", kWanted}}},
    {"status-time-nearly-over",
     kLoggedIn,
     "Almost out of time",
     "status",
     kSession,
     {{"uptime", "3500"}, {"session-time-left", "100"}}},
    {"status-traffic-nearly-over",
     kLoggedIn,
     "Almost out of traffic",
     "status",
     kSession,
     {{"bytes-out", "93000000"}}},
    {"status-past-limits",
     kLoggedIn,
     "Past the limits of traffic",
     "status",
     kSession,
     {{"limit-bytes-total", "64999999"},
      {"limit-bytes-in", "4000000"},
      {"limit-bytes-out", "60000000"}}},
    {"status-no-limits",
     kLoggedIn,
     "Without limits",
     "status",
     kSession,
     {{"session-time-left", ""},
      {"limit-bytes-total", ""},
      {"idle-timeout", ""},
      {"refresh-timeout", ""}}},
    {"status-trial",
     kLoggedIn,
     "Trial",
     "status",
     kSession,
     {{"login-by", "trial"}, {"username", "trial"}, {"session-time-left", "1200"}}},
    {"status-cookie",
     kLoggedIn,
     "Remembered by a cookie",
     "status",
     kSession,
     {{"login-by", "cookie"}}},
    {"status-https",
     kLoggedIn,
     "Over HTTPS",
     "status",
     kSession,
     {{"https", "yes"}, {"login-by", "https"}}},
    {"set", kLoggedIn, "Idle time-out was set", "set", kSession, {{"page", "set"}}},
    {"rstatus", kLoggedIn, "Portal's bare address", "rstatus", kSession, {{"page", ""}}},

    {"status-advert", kAdverts, "An advertisement is due", "status", kSession, {{"state", "2"}}},
    {"status-blocked", kAdverts, "Blocked until it is seen", "status", kSession, {{"state", "3"}}},
    {"advert",
     kAdverts,
     "The advertisement",
     "advert",
     kSession,
     {{"page", "advert"},
      {"dst", kWanted},
      {"state", "2"},
      {"advert-url", "http://sponsor.example.org/?a=1&b=2"}}},
    {"advert-none",
     kAdverts,
     "None is due",
     "redirect",
     kSession,
     {{"page", "advert"}, {"dst", kWanted}}},
    {"radvert",
     kAdverts,
     "Held back for it",
     "radvert",
     kSession,
     {{"page", "news"}, {"site", kSite}, {"advert-held", "yes"}, {"state", "2"}}},
    {"fadvert",
     kAdverts,
     "It could not be had",
     "fadvert",
     kPlace,
     {{"page", "advert"},
      {"dst", kWanted},
      {"error-code", "3"},
      {"error-text", "you are not logged in"}}},

    {"rlogin", kHeldBack, "Not logged in", "rlogin", kGuest, {{"page", "news"}, {"site", kSite}}},
    {"held-https",
     kHeldBack,
     "Not logged in, over HTTPS",
     "rlogin",
     kGuest,
     {{"page", "news"}, {"site", kSite}, {"https", "yes"}}},
    {"alogin-held",
     kHeldBack,
     "Just logged in",
     "alogin",
     kSession,
     {{"page", "news"}, {"site", kSite}}},
    {"redirect-held",
     kHeldBack,
     "On to the after-login page",
     "redirect",
     kSession,
     {{"page", "news"}, {"site", kSite}, {"alogin-held", "yes"}}},
    {"error-held",
     kHeldBack,
     "The manager is silent",
     "error",
     kPlace,
     {{"page", "news"},
      {"site", kSite},
      {"error-code", "16646146"},
      {"error-text", "hotspot manager did not answer in time"}}},

    {"logout",
     kLogout,
     "Logged out",
     "logout",
     kSession,
     {{"page", "logout"}, {"logged-in", "no"}}},
    {"logout-trial",
     kLogout,
     "Logged out of a trial",
     "logout",
     kSession,
     {{"page", "logout"}, {"logged-in", "no"}, {"login-by", "trial"}, {"username", "trial"}}},
    {"flogout",
     kLogout,
     "Was not logged in",
     "flogout",
     kPlace,
     {{"page", "logout"}, {"error-code", "3"}, {"error-text", "you are not logged in"}}},

    {"fstatus",
     kErrorsElsewhere,
     "No status: not logged in",
     "fstatus",
     kPlace,
     {{"page", "status"}, {"error-code", "3"}, {"error-text", "you are not logged in"}}},
    {"fstatus-silent",
     kErrorsElsewhere,
     "No status: the manager is silent",
     "fstatus",
     kPlace,
     {{"page", "status"},
      {"error-code", "16646146"},
      {"error-text", "hotspot manager did not answer in time"}}},
    {"fset",
     kErrorsElsewhere,
     "A setting was not changed",
     "fset",
     kPlace,
     {{"page", "set"}, {"error-code", "3"}, {"error-text", "you are not logged in"}}},
    {"falogin",
     kErrorsElsewhere,
     "No after-login page",
     "falogin",
     kPlace,
     {{"page", "alogin"},
      {"dst", kWanted},
      {"error-code", "3"},
      {"error-text", "you are not logged in"}}},
    {"error",
     kErrorsElsewhere,
     "A file, while the manager is not there",
     "error",
     kPlace,
     {{"page", "logo.png"},
      {"error-code", "16646145"},
      {"error-text", "hotspot manager is not reachable"}}},

    {"agent-login", kAgent, "Log in", "", kGuest, {{"user-agent", "LinkAgent/1.0"}}},
    {"agent-status", kAgent, "Logged in", "", kSession, {{"user-agent", "LinkAgent/1.0"}}},
};

State makeState(const Row& row) {
  Values values = row.base;
  for (const auto& [name, value] : row.changes) values[name] = value;
  return {row.name, row.group, row.title, row.page, std::move(values)};
}

State makeState(const ErrorRow& row) {
  Values values = kGuest;
  values["method"] = "POST";
  values["username"] = "anna";
  values["error-code"] = row.code;
  values["error-text"] = row.text;
  return {std::string("login-failed-") + row.type, kFailed, row.title, "flogin", std::move(values)};
}

}  // namespace

std::vector<State> fixedStates() {
  std::vector<State> states;
  for (const Row& row : kBeforeErrors) states.push_back(makeState(row));
  for (const ErrorRow& row : kErrors) states.push_back(makeState(row));
  const State* const failed = findState(states, "login-failed-invalid-username");
  State message = *failed;
  message.name = "login-failed-message";
  message.title = "The manager has a message of its own";
  message.values["message"] = "The owner says: $(username) may come in from five o'clock.";
  State twice = *failed;
  twice.name = "login-failed-trial";
  twice.title = "A trial is offered, and an address to go on to";
  twice.values["trial"] = "yes";
  twice.values["dst"] = kWanted;
  states.push_back(std::move(message));
  states.push_back(std::move(twice));
  for (const Row& row : kAfterErrors) states.push_back(makeState(row));
  return states;
}

const State* findState(const std::vector<State>& states, std::string_view name) {
  const auto found = std::ranges::find(states, name, &State::name);
  return found == states.end() ? nullptr : &*found;
}

}  // namespace preview
