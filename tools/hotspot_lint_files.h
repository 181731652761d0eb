// Reads a page directory as the module would find it.

#ifndef TOOLS_HOTSPOT_LINT_FILES_H_
#define TOOLS_HOTSPOT_LINT_FILES_H_

#include <filesystem>
#include <stdexcept>
#include <vector>

#include "tools/hotspot_lint_page.h"

namespace lint {

// The directory itself cannot be read.
class CannotRead : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Texts above this size are not read.
constexpr std::uintmax_t kMostTextBytes = std::uintmax_t{4} * 1024 * 1024;

// Every file of the directory and its sub-directories, in order of the names' bytes. Names that
// begin with a dot are left out; symbolic links are followed, but not in circles. What is no
// regular file or cannot be read comes with its problem. Throws CannotRead when `directory` is
// none, cannot be read, or holds so much (10,000 files, 16 levels) that it can be no page
// directory.
std::vector<PageFile> readPageFiles(const std::filesystem::path& directory);

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_FILES_H_
