#include "host/address.h"

#include <cstdio>
#include <cstring>

std::string IPAddr::str() const {
  unsigned char bytes[sizeof addr];
  std::memcpy(bytes, &addr, sizeof bytes);
  char text[sizeof "255.255.255.255"];
  std::snprintf(text, sizeof text, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3]);
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
