// The answer that a client of the web server gets of a scenario's result.

#ifndef TESTS_TOOLS_SCENARIO_WIRE_H_
#define TESTS_TOOLS_SCENARIO_WIRE_H_

#include <string>
#include <utility>
#include <vector>

#include "tests/tools/scenario_generator.h"

// An answer taken apart as a client does: at line ends.
struct WireAnswer {
  std::string statusLine;
  std::vector<std::pair<std::string, std::string>> fields;  // in order, as sent
  std::string body;
  bool whole = false;  // a status line, fields of a name and a value, an empty line
};

// The bytes that the web server's own writer makes of the result: status, headers, body, error.
std::string wireBytes(const Json& scenario, const Json& result);

WireAnswer takeApart(const std::string& bytes);

#endif  // TESTS_TOOLS_SCENARIO_WIRE_H_
