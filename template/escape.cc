#include "template/escape.h"

#include "template/scan.h"

namespace {

// Value of a hexadecimal digit, -1 for any other byte.
int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// ASCII's, whatever locale the host has set.
bool isLetterOrDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Reads two characters as sscanf's "%x" does; `*value` stays when they hold no number.
void scanHexPair(char first, char second, int* value) {
  const int high = hexValue(first);
  const int low = hexValue(second);
  if (high >= 0) {
    *value = low >= 0 ? high * 16 + low : high;
  } else if (low >= 0 && isSpace(first)) {
    *value = low;
  } else if (low >= 0 && first == '-') {
    *value = -low;
  }
}

}  // namespace

std::string fixString(std::string s) {
  for (char& c : s) {
    if (c == '+') c = ' ';
  }
  std::size_t read = s.find('%');
  std::size_t written = read;
  int value = 0;
  while (read < s.size()) {
    if (s[read] == '%' && s.size() - read > 2) {
      scanHexPair(s[read + 1], s[read + 2], &value);
      s[written++] = static_cast<char>(value & 0xFF);
      read += 3;
    } else {
      s[written++] = s[read++];
    }
  }
  if (written < s.size()) s.resize(written);
  return s;
}

std::string doEscapeString(const std::string& s) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  result.reserve(s.size());
  for (const char c : s) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (isLetterOrDigit(c) || c == '.' || c == '-') {
      result += c;
    } else if (c == ' ') {
      result += '+';
    } else {
      result += '%';
      result += kDigits[byte >> 4];
      result += kDigits[byte & 15];
    }
  }
  return result;
}

void appendXmlEscaped(std::string_view text, std::string* out) {
  out->reserve(out->size() + text.size() + 16);
  const char* at = text.data();
  const char* const end = at + text.size();
  for (;;) {
    const char* const found = scan::find<scan::Markup>(at, end);
    out->append(at, static_cast<std::size_t>(found - at));
    if (found == end) return;
    out->append(*found == '<' ? "&lt;" : *found == '>' ? "&gt;" : "&amp;");
    at = found + 1;
  }
}

std::string xmlEscapeString(const std::string& s) {
  std::string result;
  appendXmlEscaped(s, &result);
  return result;
}
