#include "tests/template/naive_format.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace naive {

std::string fixString(std::string s) {
  std::size_t plus;
  while ((plus = s.find('+')) != std::string::npos) s.replace(plus, 1, " ");

  unsigned value = 0;  // what the first escape without a number gives is any fixed byte
  std::size_t from = 0;
  for (;;) {
    const std::size_t percent = s.find('%', from);
    if (percent == std::string::npos || percent + 2 >= s.size()) return s;
    const char pair[3] = {s[percent + 1], s[percent + 2], '\0'};
    std::sscanf(pair, "%x", &value);
    s.replace(percent, 3, std::string(1, static_cast<char>(static_cast<unsigned char>(value))));
    from = percent + 1;
    if (from >= s.size()) return s;
  }
}

std::string getTimeStr(unsigned seconds) {
  const unsigned days = seconds / 86400;
  const unsigned hours = seconds / 3600 - days * 24;
  const unsigned minutes = seconds / 60 - days * 1440 - hours * 60;
  const unsigned rest = seconds - days * 86400 - hours * 3600 - minutes * 60;
  std::string result;
  if (days > 0) result += std::to_string(days) + "d";
  if (hours > 0) result += std::to_string(hours) + "h";
  if (minutes > 0) result += std::to_string(minutes) + "m";
  if (rest > 0 || seconds == 0) result += std::to_string(rest) + "s";
  return result;
}

std::string getDateTimeStr(unsigned t) {
  static const char names[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
  unsigned days = t / 86400;
  unsigned year = 1970;
  const auto isLeap = [&] { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); };
  while (days >= (isLeap() ? 366u : 365u)) {
    days -= isLeap() ? 366 : 365;
    ++year;
  }
  const unsigned lengths[] = {31, isLeap() ? 29u : 28u, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  unsigned month = 0;
  while (days >= lengths[month]) days -= lengths[month++];
  char text[64];
  std::snprintf(text, sizeof text, "%.3s/%02u/%u %02u:%02u:%02u", names + 3 * month, days + 1, year,
                t / 3600 % 24, t / 60 % 60, t % 60);
  return text;
}

std::string getNiceBytes(unsigned long long n) {
  char text[64];
  if (n < 2048) {
    std::snprintf(text, sizeof text, "%llu B", n);
  } else if (n <= 0x1FFFFF) {
    std::snprintf(text, sizeof text, "%llu.%1u KiB", n >> 10,
                  static_cast<std::uint32_t>(n / 102) % 10);
  } else if (n <= 0x7FFFFFFF) {
    std::snprintf(text, sizeof text, "%llu.%1u MiB", n >> 20,
                  static_cast<std::uint32_t>(n / 104857) % 10);
  } else {
    std::snprintf(text, sizeof text, "%llu.%1u GiB", n >> 30,
                  static_cast<std::uint32_t>(n / 107374182) % 10);
  }
  return text;
}

std::uint32_t parseNumber(const char* text, const char** end, int base) {
  std::string number = text;
  const std::size_t sign = number.find_first_not_of(" \t\n\v\f\r");
  const bool negative = sign != std::string::npos && number[sign] == '-';
  if (negative) number[sign] = '+';
  char* stop = nullptr;
  errno = 0;
  const unsigned long long value = std::strtoull(number.c_str(), &stop, base);
  *end = text + (stop - number.c_str());
  if (errno == ERANGE || value > 0xFFFFFFFFull) return 0xFFFFFFFF;
  return static_cast<std::uint32_t>(negative ? 0x100000000ull - value : value);
}

}  // namespace naive
