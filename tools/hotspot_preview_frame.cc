#include "tools/hotspot_preview_frame.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "tools/hotspot_preview_text.h"
#include "tools/page_names.h"

namespace preview {
namespace {

constexpr std::array<std::string_view, 2> kSchemes = {"http", "https"};
constexpr std::array<std::string_view, 4> kAddressAttributes = {"href", "src", "action", "url"};

// "http://anna@www.example.com:8080/news" gives "anna@www.example.com:8080"; nothing for what is no
// address of the web.
std::string authorityOf(const std::string& address) {
  for (const std::string_view scheme : kSchemes) {
    const std::string start = std::string(scheme) + "://";
    if (!address.starts_with(start)) continue;
    return address.substr(start.size(), address.find_first_of("/?#", start.size()) - start.size());
  }
  return {};
}

std::string_view handlerOf(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  const pages::Handler* const handler = pages::findHandler(name);
  return handler == nullptr ? std::string_view() : handler->name;
}

bool endsWithAttribute(std::string_view text) {
  if (!text.ends_with('=')) return false;
  text.remove_suffix(1);
  return std::ranges::any_of(kAddressAttributes, [&](std::string_view name) {
    if (text.size() < name.size()) return false;
    return std::ranges::equal(text.substr(text.size() - name.size()), name, [](char a, char b) {
      return std::tolower(static_cast<unsigned char>(a)) == b;
    });
  });
}

// Whether an address that follows `before` begins an attribute's value or a script's string.
bool beginsValue(std::string_view before, bool isEscaped) {
  if (before.ends_with('"') || before.ends_with('\'')) return true;
  return !isEscaped && endsWithAttribute(before);
}

// One way of writing the addresses of a page.
struct Form {
  bool isEscaped;
  std::string_view separator;
  std::string_view enders;  // what may follow a host
};

constexpr Form kForms[] = {{false, "://", "/?#\"' >\t\r\n"}, {true, "%3A%2F%2F", "%\"'"}};

std::string written(const std::string& text, const Form& form) {
  return form.isEscaped ? percentEncode(text) : text;
}

// Where the host at `start` leads and how long it is; nothing when it is none of `hosts`.
bool matchHost(const std::string& page, std::size_t start, const std::string& host,
               const Form& form, std::size_t* end) {
  const std::string text = form.isEscaped ? percentEncode(host) : htmlEscape(host);
  if (host.empty() || page.compare(start, text.size(), text) != 0) return false;
  *end = start + text.size();
  return *end < page.size() && form.enders.find(page[*end]) != std::string_view::npos;
}

// Changes the addresses of one form.
std::string changed(const std::string& page, const FrameHosts& hosts, const Form& form) {
  const std::string frame = written("http://" + hosts.frame, form);
  const std::string leave = frame + written(std::string(kLeavePath), form);
  std::string result;
  std::size_t done = 0;
  for (std::size_t at = 0; (at = page.find(form.separator, at)) != std::string::npos;) {
    const std::size_t host = at + form.separator.size();
    for (const std::string_view scheme : kSchemes) {
      if (at < scheme.size() + done) continue;
      const std::size_t start = at - scheme.size();
      if (page.compare(start, scheme.size(), scheme) != 0) continue;
      if (!beginsValue(std::string_view(page).substr(0, start), form.isEscaped)) continue;
      std::size_t end = 0;
      if (matchHost(page, host, hosts.portal, form, &end)) {
        result.append(page, done, start - done).append(frame);
        done = end;
      } else if (std::ranges::any_of(hosts.others, [&](const std::string& other) {
                   return matchHost(page, host, other, form, &end);
                 })) {
        result.append(page, done, start - done).append(leave);
        done = start;
      }
    }
    at = host;
  }
  return result.append(page, done, std::string::npos);
}

}  // namespace

Values answeringValues(const std::vector<State>& states, const Values& own,
                       const PageRequest& request) {
  const auto valuesOf = [&](std::string_view name) { return findState(states, name)->values; };
  const std::string_view asked = handlerOf(request.path);
  const bool isOwnHandler =
      valueOf(own, "site").empty() && asked == handlerOf(valueOf(own, "page"));
  const bool isLoggedIn = isOn(own, "logged-in");
  if (asked == "login") {
    if (hasParameter(request.query + "&" + request.body, "username")) return valuesOf("alogin");
    return isLoggedIn || isOwnHandler ? own : valuesOf("login");
  }
  if (asked == "logout") return isOwnHandler ? own : valuesOf("logout");
  if (asked.empty()) {
    // What failed is the page's own command: style sheets and scripts are looked up by another.
    Values values = own;
    values.erase("error-code");
    return values;
  }
  if (isLoggedIn || isOwnHandler) return own;
  return valuesOf("status");
}

FrameHosts hostsOf(const Variables& variables, const std::string& frame) {
  FrameHosts hosts;
  hosts.frame = frame;
  const auto value = [&](std::string_view name) {
    const auto found = variables.values.find(name);
    return found == variables.values.end() ? std::string() : found->second;
  };
  hosts.portal = value("hostname");
  for (const char* const link : {"link-redirect", "link-orig"}) {
    const std::string other = authorityOf(value(link));
    if (!other.empty() && other != hosts.portal) hosts.others.push_back(other);
  }
  return hosts;
}

std::string withFrameAddresses(const std::string& page, const FrameHosts& hosts) {
  std::string result = page;
  for (const Form& form : kForms) result = changed(result, hosts, form);
  return result;
}

std::string htmlEscape(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string leavingPage(const std::string& address) {
  return "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\">"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
         "<meta name=\"color-scheme\" content=\"light dark\"><title>Elsewhere</title>"
         "<style>body{font:1rem/1.5 system-ui,sans-serif;margin:3rem auto;max-width:28rem;"
         "padding:0 1rem;overflow-wrap:anywhere}</style></head><body>"
         "<p>Here the guest leaves the portal for</p><p><strong>" +
         htmlEscape(address) +
         "</strong></p><p>The preview stays: reload the state to have its page back.</p>"
         "</body></html>\n";
}

}  // namespace preview
