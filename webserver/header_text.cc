#include "webserver/header_text.h"

#include <algorithm>
#include <cstdio>

namespace web {
namespace {

bool isTokenChar(char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
  return c != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

}  // namespace

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenChar);
}

std::string cleanHeaderText(std::string_view text) {
  std::string clean(text);
  for (char& c : clean) {
    const bool control = static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
    if (control && c != '\t') c = ' ';
  }
  return clean;
}

std::string escapeHtml(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '&':
        escaped += "&amp;";
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

std::string_view httpDate(std::time_t now) {
  // The C locale's names, whatever the process's locale is.
  static constexpr char kDays[][4] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr char kMonths[][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  thread_local std::time_t last = -1;
  thread_local char text[64];
  if (now != last) {
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[utc.tm_wday],
                  utc.tm_mday, kMonths[utc.tm_mon], utc.tm_year + 1900, utc.tm_hour, utc.tm_min,
                  utc.tm_sec);
    last = now;
  }
  return text;
}

}  // namespace web
