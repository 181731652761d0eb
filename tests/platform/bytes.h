// Byte strings for tests: written in hexadecimal, and random ones that are the same in every run.

#ifndef TESTS_PLATFORM_BYTES_H_
#define TESTS_PLATFORM_BYTES_H_

#include <cstdint>
#include <random>
#include <string>

// The bytes that `text` spells in pairs of hexadecimal digits; blanks may stand between the pairs.
inline std::string fromHex(const std::string& text) {
  std::string bytes;
  std::string pair;
  for (const char c : text) {
    if (c == ' ' || c == '\n') {
      continue;
    }
    pair += c;
    if (pair.size() == 2) {
      bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
      pair.clear();
    }
  }
  return bytes;
}

inline std::string toHex(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const unsigned byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
    text += ' ';
  }
  if (!text.empty()) {
    text.pop_back();
  }
  return text;
}

// A generator whose sequence the standard fixes; the library's distributions are not, so it has its
// own.
class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}

  // A number below `bound`. REQUIRES: bound > 0.
  std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(engine_()) % bound; }

  std::uint32_t word() { return static_cast<std::uint32_t>(engine_()); }

  char byte() { return static_cast<char>(below(256)); }

  std::string bytes(std::size_t length) {
    std::string result;
    for (std::size_t i = 0; i < length; ++i) {
      result += byte();
    }
    return result;
  }

 private:
  std::mt19937 engine_;
};

#endif  // TESTS_PLATFORM_BYTES_H_
