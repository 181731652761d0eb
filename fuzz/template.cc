// Template text: the engine agrees with the naive renderer of its tests, byte for byte.

#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "template/use_env.h"
#include "tests/template/naive_renderer.h"
#include "tests/template/rendering.h"

namespace {

using Env = std::map<std::string, std::string>;

// The naive renderer takes quadratic time and a stack frame a level.
constexpr std::size_t kLongest = 8192;

const std::vector<Env>& environments() {
  // Names of the pages that ship, and short ones that mutation finds; values that are markup,
  // directives, empty and binary.
  static const std::vector<Env> kAll = {{},
                                        {{"x", "a<b"}, {"y", "b"}, {"ix", "&"}},
                                        {{"x", "1"}, {"y", ""}, {"x-esc", "plain"}},
                                        {{"username", "anna & <bo>"},
                                         {"error", ""},
                                         {"error-orig", "x"},
                                         {"ip", "10.5.50.2"},
                                         {"link-login-only", "http://10.5.50.1/login"},
                                         {"link-orig", "http://a/?b=c&d"},
                                         {"link-orig-esc", ""},
                                         {"chap-id", "\\001"},
                                         {"chap-challenge", "\\002\\377"},
                                         {"logged-in", "yes"},
                                         {"trial", "no"},
                                         {"popup", "true"},
                                         {"plain-passwd", "no"},
                                         {"session-time-left", "1h"},
                                         {"refresh-timeout", "60"},
                                         {"bytes-in-nice", "1.5 KiB"}},
                                        {{"username", "$(if x)"},
                                         {"error", "%x%"},
                                         {"error-type", "unknown<0xfe0001>"},
                                         {"link-orig", std::string("\0\r\n\\", 4)},
                                         {"logged-in", "no"},
                                         {"trial", "yes"},
                                         {"else", "e"},
                                         {"endif", "f"},
                                         {"if", "i"},
                                         {"", "empty name"}}};
  return kAll;
}

void compare(Rendering& rendering, const std::string& text, bool esc, bool hasRadius) {
  HsConn& conn = rendering.conn;
  conn.radius.bytes.clear();
  if (hasRadius) conn.radius.add(0, 1, "v", 1);
  const naive::Rendered expected = naive::render(conn.env, hasRadius, text, esc);
  const std::size_t left = text.size() - expected.cursor;
  fuzz::checkEqual(rendering.render(text, esc), expected.output,
                   "the engine renders as the rules say");
  fuzz::checkEqual(rendering.debug.text,
                   left == 0 ? "" : "  " + std::to_string(left) + " bytes left!\n",
                   "the debug line tells what is left");

  const char* cursor = text.data();
  const char* const end = text.data() + text.size();
  useEnvR(conn.env, conn.radius, &cursor, end, nullptr, esc);
  const std::size_t scanned = naive::render(conn.env, hasRadius, text, esc, true).cursor;
  fuzz::check(cursor == text.data() + scanned, "a scan ends where the rules say");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kLongest) return 0;
  const std::string text = fuzz::textOf(data, size);
  // One set of variables an input, since all of them would take five times as long; mutation that
  // changes any byte gets to another.
  static Rendering rendering;
  const std::vector<Env>& all = environments();
  const std::size_t sum = std::accumulate(data, data + size, std::size_t{0});
  rendering.conn.env = all[sum % all.size()];
  compare(rendering, text, true, false);
  compare(rendering, text, false, true);
  return 0;
}
