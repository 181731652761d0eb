// The forms in which findings, rules and variables are printed.

#ifndef TOOLS_HOTSPOT_LINT_OUTPUT_H_
#define TOOLS_HOTSPOT_LINT_OUTPUT_H_

#include <string>
#include <vector>

#include "tools/hotspot_lint_rules.h"

namespace lint {

// "DIR/login.html:3:14: error: ... [unescaped]", a line each, and a line with the sum. With
// `colours` for a terminal.
std::string asText(const std::string& directory, const std::vector<Finding>& findings,
                   bool colours);

// {"directory": ..., "findings": [{"file", "line", "column", "severity", "rule", "message"}],
//  "errors": N, "warnings": N, "notes": N}
std::string asJson(const std::string& directory, const std::vector<Finding>& findings);

// A log of the Static Analysis Results Interchange Format, version 2.1.0 (an OASIS standard).
// `directory` is absolute.
std::string asSarif(const std::string& directory, const std::vector<Finding>& findings);

std::string rulesAsText();
std::string rulesAsJson();
std::string variablesAsText();
std::string variablesAsJson();

}  // namespace lint

#endif  // TOOLS_HOTSPOT_LINT_OUTPUT_H_
