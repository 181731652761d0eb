// Small things about text: characters, places, names that look alike. Any bytes; any thread.

#ifndef TOOLS_HOTSPOT_LINT_TEXT_H_
#define TOOLS_HOTSPOT_LINT_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace lint {

// Length of the UTF-8 character at `at` (RFC 3629), 0 when there is none.
// REQUIRES: at < text.size().
std::size_t characterAt(std::string_view text, std::size_t at);

// The first byte that is no part of UTF-8 text; npos when there is none.
std::size_t findBadUtf8(std::string_view text);

// Lines and columns, from 1, of offsets that are asked for in rising order. A byte that is no UTF-8
// counts as a character.
class Places {
 public:
  explicit Places(std::string_view text) : text_(text) {}

  struct Place {
    std::size_t line = 1;
    std::size_t column = 1;
  };
  // REQUIRES: `offset` is not below that of the last call.
  Place at(std::size_t offset);

 private:
  const std::string_view text_;
  std::size_t done_ = 0;
  Place place_;
};

// What a message shows of a text: at most 60 characters, control characters and what is no UTF-8 as
// "\x1b".
std::string shown(std::string_view text);

// How many single-character changes lie between the two; more than `most` is most + 1.
std::size_t distance(std::string_view a, std::string_view b, std::size_t most);

// The candidate nearest to `name` if one is near enough to be meant, else an empty text.
std::string_view nearest(std::string_view name, const std::vector<std::string_view>& candidates);

// Whether the text could be a variable's name: a letter, then letters, digits, '-' and '_'.
bool looksLikeName(std::string_view text);

// The words of a list with blanks between.
std::vector<std::string_view> wordsOf(std::string_view list);

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_TEXT_H_
