#include "servlet/cookies.h"

#include <ctime>
#include <utility>

#include "host/request.h"
#include "template/escape.h"
#include "template/format.h"

std::string getCookie(const std::string& header, const std::string& name, std::string def) {
  if (header.size() <= name.size()) return def;
  const std::string key = name + '=';
  std::size_t found = header.find(key);
  while (found != std::string::npos && found != 0) {
    const char before = header[found - 1];
    if (before == ';' || before == ' ' || before == '\t') break;
    found = header.find(key, found + 1);
  }
  if (found == std::string::npos) return def;

  const std::size_t value = found + key.size();
  const std::size_t first = header.find_first_not_of(" \t", value);
  std::size_t end = header.find(';', value);
  if (end == std::string::npos) end = header.size();
  if (first >= end) return std::string();  // npos too
  const std::size_t last = header.find_last_not_of(" \t", end - 1);
  return fixString(header.substr(first, last + 1 - first));
}

std::string createCookie(std::string name, const std::string& value, unsigned int maxAge,
                         const std::string& path) {
  std::string result = std::move(name);
  result += '=';
  result += doEscapeString(value);
  if (maxAge != 0) {
    result += "; expires=";
    result += formatUtc(std::time(nullptr) + static_cast<std::time_t>(maxAge),
                        "%a, %d-%b-%Y %H:%M:%S GMT");
  }
  if (!path.empty()) {
    result += "; path=";
    result += path;
  }
  return result;
}

std::uint32_t getCookieId(const Request& req) {
  std::string header;
  req.headers.getHeader("cookie", &header);
  const std::string value = getCookie(header, kLoginCookie, "");
  return parseNumber(value.c_str(), nullptr, 10);
}
