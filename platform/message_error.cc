// The error form of a message.

#include <cstdio>

#include "host/message.h"

namespace nv {

bool isError(const message& msg, unsigned* code, std::string* text) {
  if (msg.size_u32(kErrorCode) == 0) {
    return false;
  }
  if (code != nullptr) {
    *code = msg.get_u32(kErrorCode, 0);
  }
  if (text != nullptr) {
    *text = msg.get_string(kErrorText, std::string());
  }
  return true;
}

std::string getError(const message& msg) {
  std::string text = msg.get_string(kErrorText, std::string());
  if (text.empty()) {
    const unsigned code = msg.get_u32(kErrorCode, 0);
    char number[sizeof "error 0xffffffff"];
    std::snprintf(number, sizeof number, "error 0x%x", code);
    text = number;
  }
  return text;
}

void setError(message* msg, unsigned code, const std::string& text) {
  msg->insert_u32(kErrorCode, code);
  msg->insert_string(kErrorText, text);
}

}  // namespace nv
