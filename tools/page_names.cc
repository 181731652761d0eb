#include "tools/page_names.h"

#include <algorithm>

namespace pages {
namespace {

constexpr PageName kPages[] = {
    {"advert", "an advertisement is due", "redirect", false},
    {"alogin", "logged in", "redirect", false},
    {"error", "the manager reports an error for a file or for another site's page", "", false},
    {"fadvert", "the advertisement could not be had", "", true},
    {"falogin", "the after-login page could not be had", "", true},
    {"flogin", "a login failed", "login", false},
    {"flogout", "a logout failed", "", true},
    {"fset", "a setting was not changed", "", true},
    {"fstatus", "the status could not be had", "", true},
    {"login", "to log in", "", false},
    {"logout", "logged out", "", false},
    {"radvert", "another site's page is held back for an advertisement", "redirect", false},
    {"redirect", "the guest is sent on to another page", "", false},
    {"rlogin", "another site's page is held back until the login", "", true},
    {"rstatus", "the bare portal address, logged in", "redirect", false},
    {"set", "a setting was changed", "status", false},
    {"status", "the session's state", "", false},
};

constexpr Handler kHandlers[] = {
    {"login", true, "username user password domain popup popup-default"},
    {"logout", true, "erase-cookie"},
    {"status", true, ""},
    {"advert", true, ""},
    {"alogin", true, "popup popup-default"},
    {"set", false, "idle-timeout"},
};

}  // namespace

std::span<const PageName> pageNames() { return kPages; }

const PageName* findPage(std::string_view name) {
  const auto* const found = std::ranges::find(kPages, name, &PageName::name);
  return found == std::end(kPages) ? nullptr : found;
}

std::span<const Handler> handlers() { return kHandlers; }

const Handler* findHandler(std::string_view requested) {
  for (const Handler& handler : kHandlers) {
    if (!requested.starts_with(handler.name)) continue;
    const std::string_view rest = requested.substr(handler.name.size());
    if (rest.empty() || (handler.withExtensions && (rest == ".html" || rest == ".cgi"))) {
      return &handler;
    }
  }
  return nullptr;
}

std::string_view commonParameters() { return "dst target session-id var"; }

}  // namespace pages
