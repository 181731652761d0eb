// Lookups in the two maps of a request, `params` and `env`.

#include <cctype>

#include "servlet/hs_conn.h"
#include "template/format.h"

std::string HsConn::getParam(const StringMap& map, const std::string& key, std::string def) {
  const auto found = map.find(key);
  return found == map.end() ? def : found->second;
}

bool HsConn::getEnvParam(const StringMap& map, const std::string& key, std::string* value) {
  const auto found = map.find(key);
  if (found == map.end()) return false;
  if (value != nullptr) *value = found->second;
  return true;
}

bool HsConn::getEnvParam(const StringMap& map, const std::string& key, std::uint32_t* value) {
  std::string text;
  if (!getEnvParam(map, key, &text)) return false;
  const char* end;
  const std::uint32_t number = parseNumber(text.c_str(), &end, 10);
  // A text without digits is read as nothing at all: only the empty one has then been read whole.
  if (end != text.c_str() + text.size()) return false;
  if (value != nullptr) *value = number;
  return true;
}

std::string HsConn::getPopup() const {
  std::string value;
  if (!getEnvParam(params, "popup", &value) && !getEnvParam(params, "popup-default", &value)) {
    return "true";
  }
  for (char& c : value) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return value == "true" || value == "on" ? "true" : "false";
}
