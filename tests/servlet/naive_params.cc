#include "tests/servlet/naive_params.h"

#include "tests/template/naive_format.h"

namespace naive {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

void addParams(const std::string& text, std::map<std::string, std::string>* params) {
  std::size_t at = 0;
  while (true) {
    while (at < text.size() && (text[at] == '&' || text[at] == ' ')) ++at;
    std::string key;
    while (at < text.size() && text[at] != '=') {
      key += text[at] >= 'A' && text[at] <= 'Z' ? static_cast<char>(text[at] + 32) : text[at];
      ++at;
    }
    if (at == text.size()) return;
    ++at;
    std::string value;
    while (at < text.size() && text[at] != '&') value += text[at++];
    (*params)[key] = fixString(value);
    if (at == text.size()) return;
  }
}

std::string cleanDir(const std::string& dir) {
  for (std::size_t i = 0; i + 1 < dir.size(); ++i) {
    if (dir[i] == '.' && dir[i + 1] == '.') return "";
  }
  if (dir.empty()) return "";
  std::size_t slashes = 0;
  while (slashes < dir.size() && dir[slashes] == '/') ++slashes;
  if (slashes == dir.size()) return "/";
  std::string middle = slashes == 0 ? dir : dir.substr(slashes + 1);
  while (!middle.empty() && middle.back() == '/') middle.pop_back();
  return middle + "/";
}

std::string cookie(const std::string& header, const std::string& name, const std::string& def) {
  for (std::size_t at = 0; at + name.size() < header.size(); ++at) {
    if (header.compare(at, name.size() + 1, name + "=") != 0) continue;
    if (at > 0 && header[at - 1] != ';' && !isBlank(header[at - 1])) continue;
    std::string value;
    for (std::size_t i = at + name.size() + 1; i < header.size() && header[i] != ';'; ++i) {
      value += header[i];
    }
    while (!value.empty() && isBlank(value.front())) value.erase(0, 1);
    while (!value.empty() && isBlank(value.back())) value.pop_back();
    return fixString(value);
  }
  return def;
}

}  // namespace naive
