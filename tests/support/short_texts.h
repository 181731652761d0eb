// Every short text over an alphabet.

#ifndef TESTS_SUPPORT_SHORT_TEXTS_H_
#define TESTS_SUPPORT_SHORT_TEXTS_H_

#include <cstddef>
#include <string>

// Calls `visit` with every text of at most `most` characters of `alphabet`, while it returns true.
template <typename Visit>
bool forEachText(const std::string& alphabet, std::size_t most, const std::string& start,
                 const Visit& visit) {
  if (!visit(start)) return false;
  if (most == 0) return true;
  for (const char c : alphabet) {
    if (!forEachText(alphabet, most - 1, start + c, visit)) return false;
  }
  return true;
}

#endif  // TESTS_SUPPORT_SHORT_TEXTS_H_
