// What holds for the result of every scenario, whatever was asked.

#ifndef TESTS_TOOLS_SCENARIO_RULES_H_
#define TESTS_TOOLS_SCENARIO_RULES_H_

#include <string>
#include <vector>

#include "tests/tools/scenario_generator.h"

// The rules that the result of this generated scenario breaks, in words; empty when it is right.
std::vector<std::string> brokenRules(const Json& scenario, const Json& result);

#endif  // TESTS_TOOLS_SCENARIO_RULES_H_
