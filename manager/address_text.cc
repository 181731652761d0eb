#include "manager/address_text.h"

#include <arpa/inet.h>

#include "host/address.h"

namespace manager {

namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

constexpr std::size_t kMacTextLength = 17;
constexpr std::size_t kMacBytes = 6;

}  // namespace

std::string addressText(std::uint32_t address) { return IPAddr{htonl(address)}.str(); }

bool parseAddress(const std::string& text, std::uint32_t* address) {
  in_addr parsed{};
  if (text.find('\0') != std::string::npos) return false;
  if (inet_pton(AF_INET, text.c_str(), &parsed) != 1) return false;
  *address = ntohl(parsed.s_addr);
  return true;
}

std::string normalMac(const std::string& text) {
  const std::vector<unsigned char> bytes = macBytes(text);
  if (bytes.empty()) return {};
  MacAddr mac;
  bool zero = true;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    mac.bytes[i] = bytes[i];
    zero = zero && bytes[i] == 0;
  }
  return zero ? std::string() : mac.str();
}

std::vector<unsigned char> macBytes(const std::string& mac) {
  if (mac.size() != kMacTextLength) return {};
  std::vector<unsigned char> bytes;
  bytes.reserve(kMacBytes);
  for (std::size_t i = 0; i < mac.size(); i += 3) {
    const int high = hexValue(mac[i]);
    const int low = hexValue(mac[i + 1]);
    if (high < 0 || low < 0 || (i + 2 < mac.size() && mac[i + 2] != ':')) return {};
    bytes.push_back(static_cast<unsigned char>(high * 16 + low));
  }
  return bytes;
}

std::string logText(const std::string& text) {
  constexpr std::size_t kMost = 64;
  std::string shown = text.substr(0, kMost);
  for (char& c : shown) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f || c == '"') c = '?';
  }
  return shown;
}

}  // namespace manager
