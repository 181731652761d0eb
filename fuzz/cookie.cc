// A cookie header: the reader agrees with one that tries each place in turn, the login cookie's
// number is the decimal number at the start of its value, and what is written can be read back.

#include <cstdlib>
#include <string>

#include "fuzz/check.h"
#include "servlet/cookies.h"
#include "tests/servlet/naive_params.h"
#include "tests/support/fake_host.h"
#include "tests/template/naive_format.h"

namespace {

constexpr char kDefault[] = "(default)";

std::uint32_t numberOf(const std::string& value) {
  const char* end = nullptr;
  return naive::parseNumber(value.c_str(), &end, 10);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 8192) return 0;  // the naive reader compares at each place
  const std::string header = fuzz::textOf(data, size);
  for (const std::string& name : {std::string(kLoginCookie), std::string("a"), std::string()}) {
    fuzz::checkEqual(getCookie(header, name, kDefault), naive::cookie(header, name, kDefault),
                     "a cookie's value is what the header says");
  }

  fake::FakeRequest req;
  req.headers.addHeader("Cookie", header, false);
  const std::string value = naive::cookie(header, kLoginCookie, kDefault);
  fuzz::check(getCookieId(req) == (value == kDefault ? 0 : numberOf(value)),
              "the login cookie is a decimal number");

  const std::string written = createCookie("a", header, 0, "/login");
  fuzz::check(written.find_first_of(std::string("\0\r\n\t ;,", 7)) == written.find("; path=/login"),
              "a value leaves the cookie's line in one piece");
  fuzz::checkEqual(getCookie("b=1; " + written, "a", kDefault), header,
                   "a cookie is read back as it was written");
  return 0;
}
