// The pages that the module's handlers show, what stands in for a page that is missing, and what
// each handler reads of a form. A test holds the tables against the module.

#ifndef TOOLS_PAGE_NAMES_H_
#define TOOLS_PAGE_NAMES_H_

#include <span>
#include <string_view>

namespace pages {

struct PageName {
  std::string_view name;  // without ".html"
  std::string_view when;  // what a guest did or met
  // What happens without the page: another page is shown in its place; with `redirects` the client
  // is redirected to the login page; with neither the answer is 404.
  std::string_view fallback;
  bool redirects;
};

std::span<const PageName> pageNames();
// Null when no handler shows a page of that name.
const PageName* findPage(std::string_view name);

struct Handler {
  std::string_view name;
  bool withExtensions;  // answers to NAME.html and NAME.cgi too
  // Parameters that it reads beyond those that every page does, blanks between.
  std::string_view parameters;
};

std::span<const Handler> handlers();
// The handler that answers a request for this name (without directories); null when the name is
// that of a file.
const Handler* findHandler(std::string_view requested);

// Parameters that every local request reads, blanks between.
std::string_view commonParameters();

}  // namespace pages

#endif  // TOOLS_PAGE_NAMES_H_
