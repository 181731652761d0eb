// The engine against the naive one: every short text over the bytes that mean something to the
// language. Output, where rendering ended and the debug line have to be the same.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "template/use_env.h"
#include "tests/template/naive_renderer.h"
#include "tests/template/rendering.h"

namespace {

using Env = std::map<std::string, std::string>;
using Pieces = std::vector<std::string>;

class Comparison {
 public:
  explicit Comparison(const Env& env) : rendering_(env) {}

  // False, with a message, at the first difference; the caller then stops.
  bool agree(const std::string& text) { return agree(text, true) && agree(text, false); }

  // The same for a text that is scanned without an output stream: only its end can be compared.
  bool agreeOnNothing(const std::string& text) {
    HsConn& conn = rendering_.conn;
    const char* cursor = text.data();
    useEnvR(conn.env, conn.radius, &cursor, text.data() + text.size(), nullptr, true);
    const std::size_t end = naive::render(conn.env, false, text, true, true).cursor;
    EXPECT_EQ(static_cast<std::size_t>(cursor - text.data()), end) << "text: " << text;
    return static_cast<std::size_t>(cursor - text.data()) == end;
  }

 private:
  bool agree(const std::string& text, bool esc) {
    HsConn& conn = rendering_.conn;
    const naive::Rendered expected = naive::render(conn.env, false, text, esc);
    const std::size_t left = text.size() - expected.cursor;
    const std::string line = left == 0 ? "" : "  " + std::to_string(left) + " bytes left!\n";

    rendering_.render(text, esc);
    if (rendering_.out.text != expected.output || rendering_.debug.text != line) {
      ADD_FAILURE() << "text: " << text << "\nesc: " << esc << "\nexpected: " << expected.output
                    << "\nrendered: " << rendering_.out.text << "\nexpected line: " << line
                    << "\nline: " << rendering_.debug.text;
      return false;
    }
    rendering_.out.text.clear();
    const char* cursor = text.data();
    useEnvR(conn.env, conn.radius, &cursor, text.data() + text.size(), &rendering_.out, esc);
    EXPECT_EQ(static_cast<std::size_t>(cursor - text.data()), expected.cursor) << "text: " << text;
    EXPECT_EQ(rendering_.out.text, expected.output) << "text: " << text;
    return !testing::Test::HasFailure();
  }

  Rendering rendering_;
};

// Calls `visit` with every sequence of at most `most` of `pieces`, until it returns false.
template <typename Visit>
bool forEachSequence(const Pieces& pieces, std::size_t most, const std::string& start,
                     const Visit& visit) {
  if (!visit(start)) return false;
  if (most == 0) return true;
  for (const std::string& piece : pieces) {
    if (!forEachSequence(pieces, most - 1, start + piece, visit)) return false;
  }
  return true;
}

const Pieces kBytes = {"$", "(", ")", "%", "\\", " ", "i", "x"};
const Env kBothTrue = {{"x", "a<b"}, {"y", "b"}, {"ix", "&"}};

class RendererComparisonByFirstByte : public testing::TestWithParam<std::size_t> {};

TEST_P(RendererComparisonByFirstByte, AgreesOnEveryTextOfUpToEightBytes) {
  Comparison comparison(kBothTrue);
  forEachSequence(kBytes, 7, kBytes[GetParam()],
                  [&](const std::string& text) { return comparison.agree(text); });
}

INSTANTIATE_TEST_SUITE_P(All, RendererComparisonByFirstByte,
                         testing::Range(std::size_t{0}, kBytes.size()));

TEST(RendererComparison, AgreesOnEveryShortTextInADroppedBranch) {
  Comparison comparison(kBothTrue);
  forEachSequence(kBytes, 5, "", [&](const std::string& text) {
    return comparison.agree("$(if nosuch)" + text + "$(endif)%x%$(endif)!") &&
           comparison.agreeOnNothing(text + "%endif%");
  });
}

}  // namespace
