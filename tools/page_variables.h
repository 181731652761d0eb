// Every variable that a page can refer to, as data: what sets it, who can influence its text, what
// it means. The one table that the linter, the preview and the documentation read; a test holds it
// against what the module really sets.

#ifndef TOOLS_PAGE_VARIABLES_H_
#define TOOLS_PAGE_VARIABLES_H_

#include <span>
#include <string_view>

namespace pages {

// What the text of a value can look like, which says where it may stand without being escaped.
enum class ValueKind {
  kYesNo,      // "yes" or "no"
  kTrueFalse,  // "true" or "false"
  kNumber,     // decimal digits, or nothing
  kDuration,   // "1h2m3s", or nothing
  kBytes,      // "2.9 KiB"
  kAddress,    // an IPv4 or MAC address, or nothing
  kErrorType,  // a word of the table of errors, "unknown<0x1f>", or nothing
  kOctal,      // "\001\377": octal escapes for a script's string literal, or nothing
  kText,       // any text
  kUrl,        // any text, meant to be an address
};

// What a variable is about.
enum class Topic { kHotspot, kLinks, kSession, kTraffic, kErrors, kLogin };

// Who can influence a value of any text.
enum class Origin { kModule, kManager, kClient };

struct PageVariable {
  std::string_view name;
  Topic topic;
  ValueKind kind;
  Origin origin;
  bool canBeEmpty;
  // Names of the pages, blanks between, on which the variable is always set ("*": all of them), and
  // of those on which it sometimes is. Elsewhere a reference to it comes out as it is written.
  std::string_view always;
  std::string_view sometimes;
  std::string_view meaning;
};

// In the order of the alphabet.
std::span<const PageVariable> pageVariables();

// "hotspot", "session": a word for tables and programs.
std::string_view topicName(Topic topic);

// Null when there is none of that name.
const PageVariable* findVariable(std::string_view name);

// The names that the manager's error codes have in "error-type", without the empty one.
std::span<const std::string_view> errorTypes();

// Whether a list as in PageVariable::always names `page`; the empty page stands for any file that
// is no page of a handler, and is named by "*" alone.
bool lists(std::string_view list, std::string_view page);

// Whether a value of this kind can hold nothing that ends an attribute, a string literal or an
// address.
bool isHarmless(ValueKind kind);

}  // namespace pages

#endif  // TOOLS_PAGE_VARIABLES_H_
