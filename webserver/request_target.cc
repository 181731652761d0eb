#include "webserver/request_target.h"

#include <arpa/inet.h>

#include <algorithm>

#include "host/request.h"
#include "platform/ascii.h"

namespace web {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = ascii::toLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isAlpha(char c) {
  const char lower = ascii::toLower(c);
  return lower >= 'a' && lower <= 'z';
}

bool isNameChar(char c) {
  return isAlpha(c) || isDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

// Where the port's colon is; the text's length when there is none.
std::size_t portColon(std::string_view text) {
  if (!text.empty() && text.front() == '[') {
    const std::size_t bracket = text.find(']');
    return bracket == std::string_view::npos ? text.size() : bracket + 1;
  }
  return std::min(text.find(':'), text.size());
}

// REQUIRES: validHost(text).
bool hasPort(std::string_view text) {
  return text.find_first_not_of(":0", portColon(text)) != std::string_view::npos;
}

bool validIpv6(std::string_view text) {
  in6_addr ignored{};
  return text.find('\0') == std::string_view::npos &&
         inet_pton(AF_INET6, std::string(text).c_str(), &ignored) == 1;
}

bool parsePathAndQuery(std::string_view text, Target* target) {
  const std::size_t mark = std::min(text.find('?'), text.size());
  if (mark < text.size()) target->query = text.substr(mark + 1);
  return percentDecode(text.substr(0, mark), &target->path);
}

// scheme "://" authority [ path ] [ "?" query ]
bool parseAbsolute(std::string_view text, Target* target) {
  const std::size_t colon = text.find("://");
  if (colon == std::string_view::npos || colon == 0 || !isAlpha(text.front())) return false;
  for (const char c : text.substr(0, colon)) {
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
    target->scheme.push_back(ascii::toLower(c));
  }
  text.remove_prefix(colon + 3);
  const std::size_t end = std::min(text.find_first_of("/?"), text.size());
  target->authority = text.substr(0, end);
  target->hasAuthority = true;
  text.remove_prefix(end);
  if (!parsePathAndQuery(text, target)) return false;
  if (target->path.empty()) target->path.assign(1, '/');
  return true;
}

}  // namespace

bool percentDecode(std::string_view text, std::string* decoded) {
  decoded->clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded->push_back(text[i]);
      continue;
    }
    if (text.size() - i < 3) return false;
    const int high = hexValue(text[i + 1]);
    const int low = hexValue(text[i + 2]);
    if (high < 0 || low < 0 || high + low == 0) return false;
    decoded->push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return true;
}

bool parseTarget(std::string_view text, std::string_view method, Target* target) {
  *target = Target();
  if (text.empty()) return false;
  if (method == "CONNECT") {
    // RFC 9110 section 9.3.6: one without a port to connect to has to be refused.
    if (!validHost(text) || !hasPort(text)) return false;
    target->authority = text;
    target->hasAuthority = true;
    target->path.assign(1, '/');
    return true;
  }
  if (text.front() == '/') return parsePathAndQuery(text, target);
  if (text == "*") {
    target->path.assign(1, '*');
    return method == "OPTIONS";
  }
  return parseAbsolute(text, target);
}

bool validHost(std::string_view text) {
  const std::size_t colon = portColon(text);
  const std::string_view host = text.substr(0, colon);
  if (host.empty()) return false;
  if (host.front() == '[') {
    if (host.back() != ']' || !validIpv6(host.substr(1, host.size() - 2))) return false;
  } else if (!std::all_of(host.begin(), host.end(), isNameChar) || host.front() == '.' ||
             host.find("..") != std::string_view::npos) {
    return false;
  }
  if (colon == text.size()) return true;
  if (text[colon] != ':') return false;
  const std::string_view port = text.substr(colon + 1);
  if (port.size() > 5 || !std::all_of(port.begin(), port.end(), isDigit)) return false;
  unsigned number = 0;
  for (const char c : port) number = number * 10 + static_cast<unsigned>(c - '0');
  return number <= 65535;
}

std::string_view hostName(std::string_view text) { return text.substr(0, portColon(text)); }

std::string_view withoutUsualPort(std::string_view text, std::uint32_t protocol) {
  static constexpr std::string_view kUsualPorts[kProtoCount] = {"", "80", "443", "21"};
  const std::size_t colon = portColon(text);
  if (colon == text.size()) return text;
  const std::string_view port = text.substr(colon + 1);
  if (port.empty() || port == kUsualPorts[protocol]) return text.substr(0, colon);
  return text;
}

std::uint32_t protocolOf(std::string_view scheme) {
  for (std::uint32_t i = 1; i < kProtoCount; ++i) {
    if (scheme == protoNames[i]) return i;
  }
  return 0;
}

std::uint32_t methodOf(std::string_view name) {
  for (std::uint32_t i = 1; i < kMethodCount; ++i) {
    if (name == methodNames[i]) return i;
  }
  return 0;
}

}  // namespace web
