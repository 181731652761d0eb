// A second template engine, for tests: one recursive function that follows the rules of the
// language step by step, byte by byte, with no look-ahead and no care for speed (quadratic, and as
// deep in the stack as the text is nested). Shares no code with the module.

#ifndef TESTS_TEMPLATE_NAIVE_RENDERER_H_
#define TESTS_TEMPLATE_NAIVE_RENDERER_H_

#include <cstddef>
#include <map>
#include <string>

namespace naive {

struct Rendered {
  std::string output;
  std::size_t cursor = 0;  // where rendering ended
};

// Renders `text`. `hasRadius`: there is a RADIUS attribute. `esc`: values are XML-escaped. With
// `toNowhere` the text is scanned without an output stream.
Rendered render(const std::map<std::string, std::string>& env, bool hasRadius,
                const std::string& text, bool esc, bool toNowhere = false);

}  // namespace naive

#endif  // TESTS_TEMPLATE_NAIVE_RENDERER_H_
