// The addresses in a page: which attributes hold one, where it leads, whether something is there.

#ifndef TOOLS_HOTSPOT_LINT_LINKS_H_
#define TOOLS_HOTSPOT_LINT_LINKS_H_

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "tools/hotspot_lint_html.h"
#include "tools/hotspot_lint_page.h"

namespace lint {

// Whether the attribute of this tag holds an address.
bool isUrl(const Tag& tag, const Attribute& attribute);

struct Address {
  enum class Kind {
    kNone,     // of another scheme, or made of values: nothing can be said
    kSelf,     // the page itself
    kPortal,   // a path of the portal
    kOutside,  // another host
  };
  Kind kind = Kind::kNone;
  std::string text;  // of kPortal the decoded path, as it is written relative or not; of kOutside
                     // the host
};

// What an attribute's value leads to; values of references are kValueByte.
Address readAddress(std::string_view value);

// The files of the page directory, and what of them the pages link to and load.
class Links {
 public:
  void addFile(const std::string& name, std::uintmax_t size) { files_.emplace(name, size); }

  // Looks at the links of one view of a page: files that are not there, other hosts.
  void check(const ViewCheck& check);
  // The same for the addresses in a style sheet.
  void checkStyle(const PageFile& file, FileFindings& findings);

  // What a browser loads for the page besides the page itself, in bytes.
  std::uintmax_t loadedWith(const std::string& page) const;

 private:
  // The file that a path of a page in this directory leads to, "" when there is none.
  std::string resolve(const std::string& directory, const std::string& path) const;
  void checkLink(const ViewCheck& check, const Tag& tag, const Attribute& attribute);
  // The file that an address of a tag leads to, "" when there is none or that cannot be said.
  std::string checkAddress(const ViewCheck& check, const Tag& tag, std::string_view value,
                           std::size_t place, bool isLoaded);
  void checkCss(const PageFile& file, FileFindings& findings, std::string_view text,
                const std::vector<std::uint32_t>* source, std::size_t begin, std::size_t end);
  void checkStyleAddress(const PageFile& file, FileFindings& findings, std::string_view value,
                         std::size_t place);

  std::map<std::string, std::uintmax_t> files_;
  std::map<std::string, std::set<std::string>> loads_;
};

// Forms: fields that the handler does not read, ways of sending that do not work.
void checkForms(const ViewCheck& check);

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_LINKS_H_
