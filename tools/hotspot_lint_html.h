// The tags of a page and what each of its bytes is part of. A tokenizer after the HTML standard
// (section 13.2.5) without its tree, its entities and its rarest states: what is no HTML gives
// other tokens, never an error. Linear; any thread.

#ifndef TOOLS_HOTSPOT_LINT_HTML_H_
#define TOOLS_HOTSPOT_LINT_HTML_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace lint {

enum class Place {
  kText,
  kTitle,      // title and textarea: text, but no tags
  kTag,        // between the attributes of a tag
  kAttribute,  // an attribute's value
  kScript,
  kStyle,
  kComment,  // and doctypes and the like
};

struct Attribute {
  std::string name;   // in lower case
  std::string value;  // as it is written
  std::size_t begin = 0;
  std::size_t end = 0;  // of the value, without quotes
  char quote = '\0';    // '\0': none
};

struct Tag {
  std::string name;  // in lower case
  bool isEnd = false;
  std::size_t begin = 0;
  std::vector<Attribute> attributes;

  const Attribute* find(std::string_view attribute) const;
};

struct Region {
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::size_t begin = 0;
  Place place = Place::kText;
  std::size_t tag = kNone;  // of kTag and kAttribute theirs, of kScript and kStyle the opening one
  std::size_t attribute = kNone;  // of kAttribute
};

struct Html {
  std::vector<Tag> tags;
  std::vector<Region> regions;  // in order, without gaps; there is at least one

  const Region& at(std::size_t offset) const;
};

Html readHtml(std::string_view text);

// In lower case, ASCII alone.
std::string lowered(std::string_view text);

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_HTML_H_
