// Page variables as a test's table writes them.

#ifndef TESTS_VARS_ENV_TEXT_H_
#define TESTS_VARS_ENV_TEXT_H_

#include <string>

#include "servlet/hs_conn.h"

// Value of a page variable; "(none)" when there is none of that name.
inline std::string variable(const HsConn& conn, const std::string& name) {
  const auto found = conn.env.find(name);
  return found == conn.env.end() ? "(none)" : found->second;
}

#endif  // TESTS_VARS_ENV_TEXT_H_
