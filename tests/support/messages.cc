#include "tests/support/messages.h"

#include <cstdio>
#include <cstring>

namespace fake {

namespace {

std::string hexDigits(const char* format, unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string valueText(const nv::message& message, std::uint32_t id) {
  switch (nv::typeOf(id)) {
    case nv::kBool:
      return message.get_bool(id, false) ? "true" : "false";
    case nv::kU32:
      return std::to_string(message.get_u32(id, 0));
    case nv::kU64:
      return std::to_string(message.get_u64(id, 0));
    case nv::kString:
      return "'" + message.get_string(id, "") + "'";
    case nv::kRaw: {
      std::string text = "<";
      for (const unsigned char byte : message.get_raw(id, {})) text += hexDigits("%02x", byte);
      return text + ">";
    }
    default: {
      std::string text = "[";
      for (const unsigned number : message.get_u32_array(id, {})) {
        if (text.size() > 1) text += ' ';
        text += std::to_string(number);
      }
      return text + "]";
    }
  }
}

}  // namespace

std::uint32_t address(unsigned a, unsigned b, unsigned c, unsigned d) {
  const unsigned char bytes[4] = {static_cast<unsigned char>(a), static_cast<unsigned char>(b),
                                  static_cast<unsigned char>(c), static_cast<unsigned char>(d)};
  std::uint32_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

Reply& Reply::flag(std::uint32_t id, bool value) {
  message_.insert_bool(id, value);
  return *this;
}

Reply& Reply::u32(std::uint32_t id, std::uint32_t value) {
  message_.insert_u32(id, value);
  return *this;
}

Reply& Reply::be32(std::uint32_t id, std::uint32_t value) {
  message_.insert_be32(id, value);
  return *this;
}

Reply& Reply::u64(std::uint32_t id, std::uint64_t value) {
  message_.insert_u64(id, value);
  return *this;
}

Reply& Reply::text(std::uint32_t id, const std::string& value) {
  message_.insert_string(id, value);
  return *this;
}

Reply& Reply::raw(std::uint32_t id, const std::vector<unsigned char>& value) {
  message_.insert_raw(id, value);
  return *this;
}

Reply& Reply::error(unsigned code, const std::string& text) {
  nv::setError(&message_, code, text);
  return *this;
}

std::vector<std::string> fieldLines(const nv::message& message) {
  std::vector<std::string> lines;
  for (const std::uint32_t id : message.ids()) {
    lines.push_back(hexDigits("0x%08x ", id) + valueText(message, id));
  }
  return lines;
}

}  // namespace fake
