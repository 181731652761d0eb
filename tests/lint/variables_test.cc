// The tables of variables, pages and handlers against what the module does.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/visit.h"
#include "tools/page_names.h"
#include "tools/page_variables.h"

namespace {

using Strings = std::set<std::string>;

// A way to some page.
struct Situation {
  std::string name;
  std::function<void(fake::Visit&)> prepare;
  std::function<void(HsConn&)> run;
};

constexpr std::uint32_t kLoggedIn = 0x00000451;
constexpr std::uint32_t kAdvertUrl = 0x20000411;

void failing(fake::Visit& visit) { visit.reply().error(10, "no"); }
void succeeding(fake::Visit& visit) { visit.reply(); }
void loggedIn(fake::Visit& visit) { visit.reply().flag(kLoggedIn, true); }

std::vector<Situation> situations() {
  const auto unknown = [](bool isLocal) {
    return [isLocal](HsConn& conn) { conn.processUnknown(isLocal); };
  };
  const auto login = [](HsConn& conn) { conn.processLogin(); };
  const auto withFlags = [](std::uint32_t flags) {
    return [flags](fake::Visit& visit) {
      visit.req.connFlags = flags;
      loggedIn(visit);
    };
  };
  return {
      {"login", succeeding, login},
      {"login over HTTPS",
       [](fake::Visit& visit) {
         visit.req.isSsl = true;
         succeeding(visit);
       },
       login},
      {"failed login", failing, login},
      {"login that succeeds", loggedIn, login},
      {"logout", succeeding, [](HsConn& conn) { conn.processLogout(); }},
      {"failed logout", failing, [](HsConn& conn) { conn.processLogout(); }},
      {"status", succeeding, [](HsConn& conn) { conn.processStatus(); }},
      {"failed status", failing, [](HsConn& conn) { conn.processStatus(); }},
      {"set", succeeding, [](HsConn& conn) { conn.processSet(); }},
      {"failed set", failing, [](HsConn& conn) { conn.processSet(); }},
      {"advert", [](fake::Visit& visit) { visit.reply().text(kAdvertUrl, "http://x/"); },
       [](HsConn& conn) { conn.processAdvert(); }},
      {"no advert", succeeding, [](HsConn& conn) { conn.processAdvert(); }},
      {"failed advert", failing, [](HsConn& conn) { conn.processAdvert(); }},
      {"alogin", loggedIn, [](HsConn& conn) { conn.processALogin(); }},
      {"failed alogin", failing, [](HsConn& conn) { conn.processALogin(); }},
      {"root, not logged in", succeeding, unknown(true)},
      {"root, logged in", loggedIn, unknown(true)},
      {"root, failed", failing, unknown(true)},
      {"intercepted, failed", failing, unknown(false)},
      {"intercepted, not logged in", succeeding, unknown(false)},
      {"intercepted, advertisement due", withFlags(0x01000000), unknown(false)},
      {"intercepted, to the after-login page", withFlags(0x82000000), unknown(false)},
      {"intercepted, logged in", loggedIn, unknown(false)},
  };
}

struct Shown {
  std::string page;  // empty: none (404)
  bool redirected = false;
  std::map<std::string, std::string> env;
};

Shown play(const Situation& situation, const Strings& pages) {
  fake::Visit visit;
  for (const std::string& page : pages) visit.pages.write(page + ".html", page);
  situation.prepare(visit);
  HsConn conn = visit.connection();
  situation.run(conn);
  Shown shown;
  shown.page = visit.body();
  std::string location;
  shown.redirected = visit.resp.headers.getHeader("Location", &location);
  shown.env = conn.env;
  return shown;
}

Strings allPages() {
  Strings pages;
  for (const pages::PageName& page : pages::pageNames()) pages.insert(std::string(page.name));
  return pages;
}

TEST(PageNames, AreThoseThatTheHandlersShow) {
  Strings shown;
  for (const Situation& situation : situations()) shown.insert(play(situation, allPages()).page);
  EXPECT_EQ(shown, allPages());
}

TEST(PageNames, MissingPagesAreReplacedAsTheTableSays) {
  for (const Situation& situation : situations()) {
    const std::string name = play(situation, allPages()).page;
    const pages::PageName* const page = pages::findPage(name);
    ASSERT_NE(page, nullptr) << situation.name << ": " << name;
    Strings others = allPages();
    others.erase(name);
    const Shown instead = play(situation, others);
    EXPECT_EQ(instead.redirected, page->redirects) << situation.name;
    EXPECT_EQ(instead.page, page->redirects ? "redirect" : page->fallback) << situation.name;
  }
}

TEST(PageVariables, AreThoseThatTheModuleSetsOnEachPage) {
  std::map<std::string, Strings> always;
  std::map<std::string, Strings> ever;
  // With all pages, and with those alone that stand in for others.
  for (const Strings& directory : {allPages(), Strings{"login", "status", "redirect"}}) {
    for (const Situation& situation : situations()) {
      const Shown shown = play(situation, directory);
      if (shown.page.empty()) continue;
      Strings names;
      for (const auto& [name, value] : shown.env) names.insert(name);
      const bool isFirst = !always.contains(shown.page);
      Strings both;
      for (const std::string& name : names) {
        if (isFirst || always[shown.page].contains(name)) both.insert(name);
        ever[shown.page].insert(name);
      }
      always[shown.page] = both;
    }
  }
  EXPECT_EQ(always.size(), pages::pageNames().size());
  for (const auto& [page, names] : always) {
    Strings expectedAlways;
    Strings expectedEver;
    for (const pages::PageVariable& variable : pages::pageVariables()) {
      const bool isAlways = pages::lists(variable.always, page);
      if (isAlways) expectedAlways.insert(std::string(variable.name));
      if (isAlways || pages::lists(variable.sometimes, page)) {
        expectedEver.insert(std::string(variable.name));
      }
    }
    EXPECT_EQ(names, expectedAlways) << page;
    EXPECT_EQ(ever[page], expectedEver) << page;
  }
}

TEST(PageVariables, OfAnyOtherFileAreThoseOfEveryPage) {
  fake::Visit visit;
  visit.reply();
  HsConn conn = visit.connection();
  conn.getClInfo();
  Strings names;
  for (const auto& [name, value] : conn.env) names.insert(name);
  Strings expected;
  for (const pages::PageVariable& variable : pages::pageVariables()) {
    if (pages::lists(variable.always, "")) expected.insert(std::string(variable.name));
  }
  EXPECT_EQ(names, expected);
}

TEST(PageVariables, EmptyOnesAreThoseThatTheTableCallsSo) {
  // An empty reply leaves empty what can be.
  for (const Situation& situation : situations()) {
    for (const auto& [name, value] : play(situation, allPages()).env) {
      const pages::PageVariable* const variable = pages::findVariable(name);
      ASSERT_NE(variable, nullptr) << name;
      if (value.empty()) {
        EXPECT_TRUE(variable->canBeEmpty) << name;
      }
    }
  }
  Strings seen;
  for (const Situation& situation : situations()) {
    for (const auto& [name, value] : play(situation, allPages()).env) {
      if (value.empty()) seen.insert(name);
    }
  }
  for (const pages::PageVariable& variable : pages::pageVariables()) {
    EXPECT_EQ(seen.contains(std::string(variable.name)), variable.canBeEmpty) << variable.name;
  }
}

TEST(PageVariables, ErrorTypesAreTheModules) {
  Strings types;
  for (unsigned code = 1; code <= 0x10; ++code) {
    fake::Visit visit;
    visit.reply().error(code, "no");
    HsConn conn = visit.connection();
    conn.getClInfo();
    if (!conn.env["error-type"].empty()) types.insert(conn.env["error-type"]);
  }
  Strings expected;
  for (const std::string_view type : pages::errorTypes()) expected.insert(std::string(type));
  EXPECT_EQ(types, expected);
}

TEST(PageVariables, AreAllInTheirDocumentation) {
  std::ifstream file(TEST_SOURCE_DIR "/docs/page-variables.md");
  std::ostringstream text;
  text << file.rdbuf();
  for (const pages::PageVariable& variable : pages::pageVariables()) {
    const std::string name = "`" + std::string(variable.name) + "`";
    EXPECT_NE(text.str().find(name), std::string::npos) << name;
  }
}

// What a request for a page does, by its commands and by every variable that a page could show.
std::string outcome(const std::string& page, std::map<std::string, std::string> parameters) {
  fake::Visit visit;
  for (const std::string& name : allPages()) {
    std::string text = name;
    for (const pages::PageVariable& variable : pages::pageVariables()) {
      text += "\n$(" + std::string(variable.name) + ")";
    }
    visit.pages.write(name + ".html", text);
  }
  visit.pages.write("file.html", "$(link-orig) $(target-dir) $(session-id) $(var)");
  visit.req.path = "/" + page;
  for (const auto& [name, value] : parameters) visit.req.query += name + "=" + value + "&";
  visit.reply().flag(kLoggedIn, page == "alogin");
  visit.serve();
  std::string result = visit.body();
  for (const std::string& line : visit.command(0)) result += "\n" + line;
  return result;
}

TEST(Handlers, ReadTheParametersThatTheTableSays) {
  const std::map<std::string, std::string> values = {
      {"username", "a"},        {"user", "b"},          {"password", "c"},
      {"domain", "d"},          {"popup", "false"},     {"popup-default", "false"},
      {"erase-cookie", "true"}, {"idle-timeout", "30"}, {"dst", "http://x/"},
      {"target", "de"},         {"session-id", "5"},    {"var", "e"},
      {"radius1", "f"},         {"other", "g"}};
  for (const pages::Handler& handler : pages::handlers()) {
    const std::string page(handler.name);
    for (const auto& [name, value] : values) {
      // A window is opened for a destination alone.
      std::map<std::string, std::string> without;
      if (name.starts_with("popup")) without["dst"] = "http://y/";
      std::map<std::string, std::string> with = without;
      with[name] = value;
      const bool isRead = outcome(page, with) != outcome(page, without);
      EXPECT_EQ(isRead, pages::lists(handler.parameters, name) ||
                            pages::lists(pages::commonParameters(), name))
          << page << " " << name;
    }
  }
}

TEST(Handlers, AnswerToTheirNamesAlone) {
  const char* const requests[] = {
      "login",       "login.html", "login.cgi",     "login.htm", "Login",      "logout.cgi",
      "status.html", "set",        "set.html",      "set.cgi",   "advert.cgi", "alogin.html",
      "error",       "flogin",     "redirect.html", "loginx",    "lo"};
  for (const std::string request : requests) {
    fake::Visit visit;
    visit.req.path = "/" + request;
    visit.reply();
    visit.serve();
    const bool isFile = visit.commandField(0, 0x08ff0007) == "0x08ff0007 9";
    EXPECT_EQ(pages::findHandler(request) == nullptr, isFile) << request;
  }
}

}  // namespace
