// Second versions of the readers of what a client sends, for tests: written from the rules, a
// character at a time. Share no code with the module.

#ifndef TESTS_SERVLET_NAIVE_PARAMS_H_
#define TESTS_SERVLET_NAIVE_PARAMS_H_

#include <map>
#include <string>

namespace naive {

// Adds the parameters of a query or form body.
void addParams(const std::string& text, std::map<std::string, std::string>* params);

std::string cleanDir(const std::string& dir);

std::string cookie(const std::string& header, const std::string& name, const std::string& def);

}  // namespace naive

#endif  // TESTS_SERVLET_NAIVE_PARAMS_H_
