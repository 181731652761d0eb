// What can be said of a page directory by the names of its files.

#ifndef TOOLS_HOTSPOT_LINT_DIRECTORY_H_
#define TOOLS_HOTSPOT_LINT_DIRECTORY_H_

#include <string>
#include <vector>

#include "tools/hotspot_lint_page.h"

namespace lint {

// Files that cannot be sent, pages that are missing and what a guest gets instead, files that
// nobody gets to see.
void checkDirectory(const std::vector<PageFile>& files, std::vector<Finding>* findings);

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_DIRECTORY_H_
