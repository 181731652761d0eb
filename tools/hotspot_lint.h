// The linter: all that it says of a page directory. The preview shows the same.

#ifndef TOOLS_HOTSPOT_LINT_H_
#define TOOLS_HOTSPOT_LINT_H_

#include <filesystem>
#include <vector>

#include "tools/hotspot_lint_rules.h"

namespace lint {

// In order of file, line and column; the same for the same directory. Throws CannotRead
// (hotspot_lint_files.h). No state; any thread.
std::vector<Finding> lintDirectory(const std::filesystem::path& directory);

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_H_
