// The linter's reading of a page against the engine: what it calls a directive is one, what it
// calls literal comes out as it is written, whatever the values are.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "template/use_env.h"
#include "tests/support/short_texts.h"
#include "tests/template/rendering.h"
#include "tools/hotspot_lint_view.h"
#include "tools/hotspot_lint_walk.h"

namespace {

using Env = std::map<std::string, std::string>;

bool isTrue(const lint::Directive& condition, const Env& env) {
  const auto found = env.find(condition.name);
  const std::string value = found == env.end() ? std::string() : found->second;
  return condition.compares ? (value == condition.value) == condition.equal : !value.empty();
}

// What the walk says that the page becomes: branches are chosen by hand, references looked up by
// hand, all the rest is the text between.
std::string predicted(const std::string& text, const lint::Walk& walk, const Env& env) {
  struct Level {
    bool taken;  // a branch was
    bool live;
  };
  std::vector<Level> levels;
  std::string out;
  bool live = true;
  std::size_t from = 0;
  for (const lint::Directive& directive : walk.directives) {
    if (directive.isLiteral) continue;
    if (live) out += text.substr(from, directive.begin - from);
    from = directive.end;
    if (directive.kind == kCmdNone) {
      if (live && directive.name != "radius") out += env.at(directive.name);
      continue;
    }
    if (directive.kind == kCmdIf) {
      const bool is = isTrue(directive, env);
      levels.push_back({is, live});
      live = live && is;
    } else if (directive.kind == kCmdEndif) {
      live = levels.back().live;
      levels.pop_back();
    } else {
      Level& level = levels.back();
      const bool is = directive.kind == kCmdElse || isTrue(directive, env);
      live = level.live && !level.taken && is;
      level.taken = level.taken || is;
    }
  }
  if (live) out += text.substr(from, walk.end - from);
  return out;
}

// Every assignment of "" and "1" to the names x and y.
const Env kEnvs[] = {{{"x", ""}, {"y", ""}},
                     {{"x", "1"}, {"y", ""}},
                     {{"x", ""}, {"y", "1"}},
                     {{"x", "1"}, {"y", "1"}}};

struct Counts {
  std::size_t agreed = 0;
  std::size_t lost = 0;
};

// False, with a message, at the first difference.
bool agree(const std::string& text, Counts* counts) {
  const lint::Walk walk = lint::walk(text, kEnvs[0]);
  if (!walk.losses.empty()) {
    ++counts->lost;
    return true;
  }
  ++counts->agreed;
  for (const Env& values : kEnvs) {
    Env env = values;
    radius::Packet none;
    StringSink out;
    const char* cursor = text.data();
    useEnvR(env, none, &cursor, text.data() + text.size(), &out, true);
    const std::string expected = predicted(text, walk, values);
    const auto stopped = static_cast<std::size_t>(cursor - text.data());
    if (out.text != expected || stopped != walk.end) {
      ADD_FAILURE() << "text: " << text << "\nengine: " << out.text << "\nwalk:   " << expected
                    << "\nx=" << env["x"] << " y=" << env["y"] << " stopped at " << stopped
                    << ", the walk at " << walk.end;
      return false;
    }
  }
  return true;
}

bool agreeOnPieces(const std::vector<std::string>& pieces, std::size_t most,
                   const std::string& start, Counts* counts) {
  if (!agree(start, counts)) return false;
  if (most == 0) return true;
  for (const std::string& piece : pieces) {
    if (!agreeOnPieces(pieces, most - 1, start + piece, counts)) return false;
  }
  return true;
}

TEST(Walk, AgreesWithTheEngineOnEveryShortText) {
  Counts counts;
  forEachText("$(%)x \\", 6, "", [&](const std::string& text) { return agree(text, &counts); });
  EXPECT_GT(counts.agreed, 100000u);
}

TEST(Walk, AgreesWithTheEngineOnEveryShortSequenceOfPieces) {
  Counts counts;
  agreeOnPieces({"$(if x)", "%if y%", "$(elif y == 1)", "$(else)", "%else%", "$(endif)", "$(x)",
                 "%", "$(no)", "a"},
                5, "", &counts);
  EXPECT_GT(counts.agreed, 50000u);
  EXPECT_GT(counts.lost, 100u);
}

TEST(Walk, AgreesWithTheEngineOnRandomTexts) {
  const std::vector<std::string> pieces = {"$(",
                                           ")",
                                           "%",
                                           "$(if x)",
                                           "$(if y != 1)",
                                           "$(elif x = '1')",
                                           "$(else)",
                                           "%endif%",
                                           "$(endif)",
                                           "$(x)",
                                           "%y%",
                                           "$(radius)",
                                           "$(radius1)",
                                           "\\",
                                           " ",
                                           "x",
                                           "$(if y <> \"\")",
                                           "if",
                                           "$(no-such-name-that-is-very-long-indeed-it-is)",
                                           "\n",
                                           "==",
                                           "$",
                                           "<p a=\"b\">"};
  std::mt19937 random(1);
  Counts counts;
  for (int i = 0; i < 60000; ++i) {
    std::string text;
    for (auto left = random() % 24; left > 0; --left) text += pieces[random() % pieces.size()];
    if (!agree(text, &counts)) return;
  }
  EXPECT_GT(counts.agreed, 20000u);
}

TEST(Walk, SaysWhatADroppedBranchHides) {
  struct Case {
    std::string text;
    std::vector<std::string> hiding;
  };
  const Case cases[] = {
      {"$(if x)50%$(endif)after", {"%$(endif)"}},
      {"$(if x)50% $(endif)after", {"% $(endif)"}},
      {"$(if x)50% off$(endif)after", {"% off$(endif)"}},
      {"$(if x)50% off $(endif)after", {}},  // two words
      {"$(if x)a$(else)50%$(endif)after", {"%$(endif)"}},
      {"50%$(if x)a$(endif)after", {}},  // never dropped
      {"$(if x)%no%y%if y%a$(endif)$(endif)", {"%no%"}},
      {"$(if x)$(if y)50%$(endif)$(endif)", {"%$(endif)"}},
      {"$(if x)100%no%, $(x)$(endif)", {}},
      {"$(if x)a $(no) b $(x)", {}},
  };
  for (const Case& test : cases) {
    std::vector<std::string> hiding;
    for (const lint::Loss& loss : lint::walk(test.text, kEnvs[0]).losses) {
      hiding.push_back(test.text.substr(loss.begin, loss.end - loss.begin));
    }
    EXPECT_EQ(hiding, test.hiding) << test.text;
  }
}

TEST(Walk, LossIsReal) {
  // Dropped, the text swallows the end of its block; shown, it does not.
  const std::string text = "$(if x)50%$(endif)after";
  Env shown = kEnvs[1];
  Env dropped = kEnvs[0];
  Rendering first(shown);
  EXPECT_EQ(first.render(text), "50%after");
  Rendering second(dropped);
  EXPECT_EQ(second.render(text), "");
}

TEST(Walk, KnowsWhichBlockADirectiveStandsIn) {
  const lint::Walk walk = lint::walk("$(x)$(if x)$(y)$(else)$(if y)$(x)$(endif)$(endif)", kEnvs[0]);
  ASSERT_EQ(walk.directives.size(), 8u);
  ASSERT_EQ(walk.blocks.size(), 2u);
  EXPECT_EQ(walk.directives[0].outer, lint::kNoBlock);
  EXPECT_EQ(walk.directives[2].outer, 0u);
  EXPECT_EQ(walk.directives[2].outerBranch, 0u);
  EXPECT_EQ(walk.directives[4].outer, 0u);
  EXPECT_EQ(walk.directives[4].outerBranch, 1u);
  EXPECT_EQ(walk.directives[5].outer, 1u);
  EXPECT_EQ(walk.blocks[1].end, 6u);
  EXPECT_EQ(walk.blocks[0].end, 7u);
}

std::vector<std::string> viewsOf(const std::string& text) {
  const lint::Walk walk = lint::walk(text, kEnvs[0]);
  lint::ViewMaker maker(text, walk);
  std::vector<std::string> views;
  for (lint::View view; maker.next(&view);) views.push_back(view.text);
  return views;
}

using Texts = std::vector<std::string>;

TEST(Views, ShowEveryBranchInTheEnd) {
  EXPECT_EQ(viewsOf("plain"), Texts({"plain"}));
  EXPECT_EQ(viewsOf("a$(x)b$(no)"), Texts({"a\x1a"
                                           "b$(no)"}));
  EXPECT_EQ(viewsOf("$(if x)A$(elif y)B$(else)C$(endif)."), Texts({"A.", "B.", "C."}));
  EXPECT_EQ(viewsOf("$(if x)A$(endif)."), Texts({"A.", "."}));
  EXPECT_EQ(viewsOf("$(if x)$(if y)A$(else)B$(endif)$(else)C$(endif)"), Texts({"A", "B", "C"}));
  EXPECT_EQ(viewsOf("before$(endif)after"), Texts({"before"}));
  EXPECT_EQ(viewsOf("$(if x)A"), Texts({"A", ""}));
}

TEST(Views, OneConditionHasOneOutcome) {
  EXPECT_EQ(viewsOf("$(if x)A$(endif)$(if x)B$(else)C$(endif)"), Texts({"AB", "C"}));
  EXPECT_EQ(viewsOf("$(if x == 1)A$(endif)$(if x != 1)B$(endif)"), Texts({"A", "B"}));
  EXPECT_EQ(viewsOf("$(if x == 1)A$(elif x == 2)B$(endif)$(if x == 2)C$(endif)"),
            Texts({"A", "BC", ""}));
  // A variable of two values.
  EXPECT_EQ(viewsOf("$(if trial == yes)A$(endif)$(if trial == no)B$(endif)"), Texts({"A", "B"}));
}

TEST(Views, BytesKnowWhereTheyCameFrom) {
  const std::string text = "a$(if x)b$(x)c$(endif)d";
  const lint::Walk walk = lint::walk(text, kEnvs[0]);
  lint::ViewMaker maker(text, walk);
  lint::View view;
  ASSERT_TRUE(maker.next(&view));
  EXPECT_EQ(view.text,
            "ab\x1a"
            "cd");
  EXPECT_EQ(view.source, (std::vector<std::uint32_t>{0, 8, 9, 13, 22, 23}));
  ASSERT_EQ(view.shown.size(), 1u);
  EXPECT_EQ(view.shown[0].at, 2u);
}

}  // namespace
