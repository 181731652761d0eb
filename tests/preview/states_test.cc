// The table of states against what the module really shows.

#include "tools/hotspot_preview_states.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/preview/preview_site.h"
#include "tools/page_names.h"
#include "tools/page_variables.h"

namespace {

using preview::State;

const State& stateOf(const std::vector<State>& states, const std::string& name) {
  const State* const state = preview::findState(states, name);
  if (state == nullptr) throw std::runtime_error("no state " + name);
  return *state;
}

TEST(PreviewStates, EachShowsThePageThatItNames) {
  const ScratchDir empty;
  preview::Player player(TEST_MODULE, empty.path().string() + "/");
  for (const State& state : preview::fixedStates()) {
    const preview::Variables variables = player.variables(state.values, std::nullopt);
    EXPECT_EQ(variables.page, state.page) << state.name;
    EXPECT_EQ(variables.values.empty(), state.page.empty()) << state.name;
  }
}

TEST(PreviewStates, EveryPageThatTheModuleCanChooseIsShownByOne) {
  std::set<std::string> shown;
  for (const State& state : preview::fixedStates()) shown.insert(state.page);
  for (const pages::PageName& page : pages::pageNames()) {
    EXPECT_TRUE(shown.contains(std::string(page.name))) << page.name;
  }
}

TEST(PreviewStates, EveryErrorTypeHasAFailedLogin) {
  const ScratchDir empty;
  preview::Player player(TEST_MODULE, empty.path().string() + "/");
  const std::vector<State> states = preview::fixedStates();
  for (const std::string_view type : pages::errorTypes()) {
    const State& state = stateOf(states, "login-failed-" + std::string(type));
    const preview::Variables variables = player.variables(state.values, std::nullopt);
    EXPECT_EQ(variables.page, "flogin") << type;
    EXPECT_EQ(variables.values.at("error-type"), type);
    EXPECT_NE(variables.values.at("error"), "") << type;
  }
}

// The situations that owners ask for, by what the page is told of them.
TEST(PreviewStates, SituationsAreWhatTheirNamesSay) {
  const ScratchDir empty;
  preview::Player player(TEST_MODULE, empty.path().string() + "/");
  const std::vector<State> states = preview::fixedStates();
  const struct {
    const char* state;
    const char* variable;
    const char* value;
  } cases[] = {
      {"login", "logged-in", "no"},
      {"login", "error", ""},
      {"login-trial", "trial", "yes"},
      {"login-https", "link-login", "https://portal.example.net/login"},
      {"login-https", "chap-id", ""},
      {"login", "chap-id", "\\001"},
      {"login-to-https", "ssl-login", "yes"},
      {"login-plain", "plain-passwd", "yes"},
      {"login-voucher", "var", "voucher"},
      {"login-nameless", "location-name", ""},
      {"login-failed-message", "error", "The owner says: anna may come in from five o'clock."},
      {"alogin-address", "link-redirect", "http://www.example.com/news?a=1&b=2"},
      {"status", "uptime", "10m"},
      {"status", "identity", "portal"},
      {"status-time-nearly-over", "session-time-left-secs", "100"},
      {"status-traffic-nearly-over", "remain-bytes-total", "2000000"},
      {"status-past-limits", "remain-bytes-out", "0"},
      {"status-no-limits", "session-time-left", ""},
      {"status-trial", "login-by", "trial"},
      {"status-cookie", "login-by", "cookie"},
      {"status-advert", "advert-pending", "yes"},
      {"status-advert", "blocked", "no"},
      {"status-blocked", "blocked", "yes"},
      {"advert", "link-redirect", "http://sponsor.example.org/?a=1&b=2"},
      {"rlogin", "link-orig", "http://www.example.com/news"},
      {"held-https", "link-orig", "https://www.example.com/news"},
      {"logout", "logged-in", "no"},
      {"login-failed-manager-silent", "error-type", "unknown<0xfe0002>"},
  };
  for (const auto& c : cases) {
    const preview::Variables variables =
        player.variables(stateOf(states, c.state).values, std::nullopt);
    EXPECT_EQ(variables.values.at(c.variable), c.value) << c.state << " " << c.variable;
  }
}

TEST(PreviewStates, AgentGetsNoPage) {
  PreviewSite preview;
  const nlohmann::json state = preview.json("/api/state/agent-login");
  EXPECT_EQ(state["contentType"], "application/vnd.quarnett.hotspot");
  EXPECT_TRUE(state["variables"].empty());
  const preview::Reply reply = preview.frame("agent-login", "/login");
  EXPECT_EQ(headerOf(reply, "Content-Type"), "text/plain");
  EXPECT_NE(reply.body.find("user-agent: LinkAgent\r\n"), std::string::npos) << reply.body;
}

TEST(PreviewStates, NamesAreUniqueAndFitIntoHostNames) {
  const ScratchDir directory;
  const std::string longName(200, 'x');
  for (const char* const language : {"de", "pt_BR", "pt-br"}) {
    directory.write(std::string(language) + "/login.html", "");
  }
  directory.write(longName + ".html", "");
  directory.write(longName + "y.html", "");
  directory.write("A terms & conditions!.html", "");
  std::set<std::string> names;
  for (const State& state : preview::statesOf(directory.path())) {
    EXPECT_TRUE(names.insert(state.name).second) << state.name;
    EXPECT_LE(state.name.size(), 40u) << state.name;
    EXPECT_EQ(state.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-"),
              std::string::npos)
        << state.name;
    EXPECT_EQ(state.name.find("--"), std::string::npos) << state.name;
    EXPECT_NE(state.name.back(), '-') << state.name;
    EXPECT_FALSE(state.title.empty()) << state.name;
  }
}

TEST(PreviewStates, GroupsStandTogether) {
  std::set<std::string> over;
  std::string group;
  for (const State& state : preview::statesOf(TEST_PAGES)) {
    if (state.group == group) continue;
    EXPECT_TRUE(over.insert(state.group).second) << state.group;
    group = state.group;
  }
}

TEST(PreviewStates, LanguagesAreTheSubDirectoriesWithALoginPage) {
  const ScratchDir directory;
  directory.write("login.html", "root");
  directory.write("de/login.html", "deutsch");
  directory.write("fr/status.html", "not whole");
  directory.write("images/logo.svg", "");
  directory.write(".git/login.html", "hidden");
  directory.write("lv/login.html", "latviski");
  EXPECT_EQ(preview::findLanguages(directory.path()), (std::vector<std::string>{"de", "lv"}));
  const std::vector<State> states = preview::statesOf(directory.path());
  for (const char* const name : {"login-in-de", "flogin-in-de", "alogin-in-de", "status-in-de",
                                 "logout-in-de", "login-in-lv"}) {
    ASSERT_NE(preview::findState(states, name), nullptr) << name;
  }
  preview::Player player(TEST_MODULE, directory.path().string() + "/");
  EXPECT_EQ(player.play(stateOf(states, "login-in-de").values, std::nullopt).body, "deutsch");
  EXPECT_EQ(player.play(stateOf(states, "login").values, std::nullopt).body, "root");
}

TEST(PreviewStates, OwnTemplatesAreShownToo) {
  const ScratchDir directory;
  directory.write("terms.html", "Terms of $(location-name)");
  directory.write("login.html", "");
  directory.write("style.css", "");
  directory.write("notes.txt", "Hello");
  const std::vector<State> states = preview::statesOf(directory.path());
  EXPECT_EQ(stateOf(states, "file-notes-txt").title, "notes.txt");
  EXPECT_EQ(preview::findState(states, "file-login-html"), nullptr);
  EXPECT_EQ(preview::findState(states, "file-style-css"), nullptr);
  preview::Player player(TEST_MODULE, directory.path().string() + "/");
  const preview::Values& values = stateOf(states, "file-terms-html").values;
  EXPECT_EQ(player.play(values, std::nullopt).body, "Terms of Harbour Caf\u00e9");
  const preview::Variables variables = player.variables(values, std::nullopt);
  EXPECT_EQ(variables.values.at("location-name"), "Harbour Caf\u00e9");
}

TEST(PreviewStates, DirectoryThatIsGoneHasTheFixedOnes) {
  EXPECT_EQ(preview::statesOf("/nonexistent/pages").size(), preview::fixedStates().size());
}

}  // namespace
