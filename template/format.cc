#include "template/format.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kNumberBuffer = 32;
constexpr std::size_t kTimeBuffer = 100;

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Value of a digit of any base up to 16; 16 and more for what is no digit.
unsigned digitValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return 16;
}

}  // namespace

std::string bin2oct(std::string data) {
  std::string result;
  result.reserve(data.size() * 4);
  for (const char c : data) {
    const unsigned byte = static_cast<unsigned char>(c);
    result += '\\';
    result += static_cast<char>('0' + (byte >> 6));
    result += static_cast<char>('0' + ((byte >> 3) & 7));
    result += static_cast<char>('0' + (byte & 7));
  }
  return result;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string num2str(unsigned n, const char* fmt) {
  if (std::strcmp(fmt, "%u") == 0) return std::to_string(n);  // nearly always, and far quicker
  char buffer[kNumberBuffer];
  std::snprintf(buffer, sizeof buffer, fmt, n);
  return buffer;
}
#pragma GCC diagnostic pop

std::string ull2str(unsigned long long n) { return std::to_string(n); }

std::string getTimeStr(unsigned seconds) {
  struct Unit {
    char letter;
    unsigned inNext;  // how many make one of the next unit; 0: there is none
  };
  static constexpr Unit kUnits[] = {{'s', 60}, {'m', 60}, {'h', 24}, {'d', 0}};

  std::string result;
  unsigned left = seconds;
  const Unit* unit = kUnits;
  do {
    const bool whole = unit->inNext == 0 || unit->inNext > left;
    const unsigned count = whole ? left : left % unit->inNext;
    if (count != 0 || seconds == 0) {
      result.insert(0, num2str(count, "%u") + unit->letter);
    }
    left -= count;
    if (left != 0) left /= unit->inNext;
    ++unit;
  } while (left != 0);
  return result;
}

std::string getDateTimeStr(unsigned t) {
  return formatUtc(static_cast<std::time_t>(t), "%b/%d/%Y %T");
}

std::string getNiceBytes(unsigned long long n) {
  struct Unit {
    unsigned long long from;  // smallest count that is shown in this unit
    unsigned shift;
    unsigned long long tenth;  // a tenth of the unit, rounded down
    const char* name;
  };
  static constexpr Unit kUnits[] = {{0x80000000, 30, 107374182, " GiB"},
                                    {0x200000, 20, 104857, " MiB"},
                                    {0x800, 10, 102, " KiB"}};
  for (const Unit& unit : kUnits) {
    if (n < unit.from) continue;
    // The digit is taken of the quotient's low 32 bits.
    const std::uint32_t tenths = static_cast<std::uint32_t>(n / unit.tenth) % 10;
    return ull2str(n >> unit.shift) + '.' + static_cast<char>('0' + tenths) + unit.name;
  }
  return ull2str(n) + " B";
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string formatUtc(std::time_t t, const char* fmt) {
  std::tm parts{};
  if (gmtime_r(&t, &parts) == nullptr) return std::string();
  char buffer[kTimeBuffer];
  return std::string(buffer, std::strftime(buffer, sizeof buffer, fmt, &parts));
}
#pragma GCC diagnostic pop

std::uint32_t parseNumber(const char* text, const char** end, int base) {
  const char* at = text;
  while (isSpace(*at)) ++at;
  const bool negative = *at == '-';
  if (*at == '-' || *at == '+') ++at;
  const bool hexPrefix = at[0] == '0' && (at[1] == 'x' || at[1] == 'X') && digitValue(at[2]) < 16;
  if (hexPrefix && base == 0) {
    at += 2;
    base = 16;
  } else if (base == 0) {
    base = *at == '0' ? 8 : 10;
  }

  const unsigned radix = static_cast<unsigned>(base);
  const char* const digits = at;
  std::uint32_t value = 0;
  bool tooLarge = false;
  for (unsigned digit; (digit = digitValue(*at)) < radix; ++at) {
    const std::uint64_t next = std::uint64_t{value} * radix + digit;
    tooLarge = tooLarge || next > UINT32_MAX;
    value = static_cast<std::uint32_t>(next);
  }
  if (end != nullptr) *end = at == digits ? text : at;
  if (tooLarge) return UINT32_MAX;
  return negative ? 0 - value : value;
}
