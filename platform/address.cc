#include "host/address.h"

#include <cstring>

std::string IPAddr::str() const {
  unsigned char bytes[sizeof addr];
  std::memcpy(bytes, &addr, sizeof bytes);
  std::string text;
  for (const unsigned char byte : bytes) {
    if (!text.empty()) {
      text += '.';
    }
    text += std::to_string(byte);
  }
  return text;
}

std::string MacAddr::str() const {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const unsigned char byte : bytes) {
    if (!text.empty()) {
      text += ':';
    }
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}
