// Letter case of ASCII text, whatever the locale is. Other bytes are left as they are.

#ifndef PLATFORM_ASCII_H_
#define PLATFORM_ASCII_H_

#include <string_view>

namespace ascii {

constexpr char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// Whether the two are the same but for the letter case.
constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::string_view::size_type i = 0; i < a.size(); ++i) {
    if (toLower(a[i]) != toLower(b[i])) {
      return false;
    }
  }
  return true;
}

}  // namespace ascii

#endif  // PLATFORM_ASCII_H_
