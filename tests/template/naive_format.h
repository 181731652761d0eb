// Second versions of the formatting functions, for tests: written from the rules, by the C
// library's own scanners and printers or by plain loops. Share no code with the module.

#ifndef TESTS_TEMPLATE_NAIVE_FORMAT_H_
#define TESTS_TEMPLATE_NAIVE_FORMAT_H_

#include <cstdint>
#include <string>

namespace naive {

std::string fixString(std::string s);
std::string getTimeStr(unsigned seconds);
std::string getDateTimeStr(unsigned t);
std::string getNiceBytes(unsigned long long n);
std::uint32_t parseNumber(const char* text, const char** end, int base);

}  // namespace naive

#endif  // TESTS_TEMPLATE_NAIVE_FORMAT_H_
