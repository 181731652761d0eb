#include "tools/hotspot_preview_text.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>

namespace preview {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isUnreserved(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
         c == '.';
}

int base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  return c == '/' ? 63 : -1;
}

}  // namespace

std::string percentEncode(std::string_view text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    if (isUnreserved(c)) {
      encoded += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      encoded += '%';
      encoded += kDigits[byte >> 4];
      encoded += kDigits[byte & 15];
    }
  }
  return encoded;
}

std::string percentDecode(std::string_view text, bool plusIsBlank) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool hasDigits = text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 &&
                           hexDigit(text[i + 2]) >= 0;
    if (hasDigits) {
      decoded += static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2]));
      i += 2;
    } else {
      decoded += plusIsBlank && text[i] == '+' ? ' ' : text[i];
    }
  }
  return decoded;
}

std::vector<std::pair<std::string, std::string>> parseQuery(std::string_view query) {
  std::vector<std::pair<std::string, std::string>> parameters;
  while (!query.empty()) {
    const std::string_view pair = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(pair.size() + 1, query.size()));
    if (pair.empty()) continue;
    const std::size_t equals = std::min(pair.find('='), pair.size());
    const std::string_view value = pair.substr(std::min(equals + 1, pair.size()));
    parameters.emplace_back(percentDecode(pair.substr(0, equals), true),
                            percentDecode(value, true));
  }
  return parameters;
}

bool hasParameter(std::string_view query, std::string_view name) {
  const auto isSame = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == b;
  };
  return std::ranges::any_of(parseQuery(query), [&](const auto& parameter) {
    return !parameter.second.empty() && std::ranges::equal(parameter.first, name, isSame);
  });
}

std::optional<std::string> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  for (int i = 0; i < 2 && text.ends_with('='); ++i) text.remove_suffix(1);
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 2);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const int digit = base64Digit(c);
    if (digit < 0) return std::nullopt;
    bits = (bits << 6 | static_cast<unsigned>(digit)) & 0xffffff;
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>(bits >> count & 0xff);
    }
  }
  return bytes;
}

std::string shortHash(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
  return digits;
}

}  // namespace preview
