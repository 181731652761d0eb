// The finer points of the checks, mostly what they must not report.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/lint/lint_run.h"
#include "tools/hotspot_lint.h"

namespace {

using lint::Rule;

struct Case {
  const char* text;
  std::size_t findings;
};

// Cases of one rule on the page status.html.
void expectFindings(Rule rule, const std::vector<Case>& cases,
                    const std::string& page = "status.html") {
  for (const Case& test : cases) {
    const std::vector<std::string> lines = found(page, test.text, rule);
    EXPECT_EQ(lines.size(), test.findings)
        << test.text << (lines.empty() ? std::string() : "\n" + lines[0]);
  }
}

TEST(Checks, RunningTextIsNoDirective) {
  expectFindings(
      Rule::kUnknownVariable,
      {{"<p>100% sure, 50% of 60%</p>", 0},
       {"<style>a { width:50%; height:20% }</style>", 0},
       {"<style>a { width:50%;height:20%;left:1% }</style>", 0},
       {"<a href=\"?dst=http%3A%2F%2Fx%2F%C3%A9%20b\">x</a>", 0},
       {"<script>var rest = a%b%c;</script>", 0},
       {"<script>$(document).ready(function () { $('#x').hide(); $(this); });</script>", 0},
       {"<p>\\$(nosuch) $$(nosuch) $5 (five)</p>", 0},
       {"<p>$(nosuch)</p>", 1},
       {"<p>%nosuch%</p>", 0},
       {"<p>%user-name%</p>", 1},
       {"<p>$(User_Name) $(USERNAME)</p>", 2},
       {"<script>$(link-statsu)</script>", 1},
       {"<style>p { color: $(colour); }</style>", 1},
       {"<style>p { width: 50%; height: 40%; }</style>", 0},
       {"<!-- $(nosuch) -->", 1}});
}

TEST(Checks, UnknownNamesComeWithTheNearest) {
  EXPECT_EQ(found("status.html", "<p>$(sesion-time-left)</p>", Rule::kUnknownVariable),
            std::vector<std::string>(
                {"1:4: \"$(sesion-time-left)\" comes out as it is written: did you mean "
                 "\"session-time-left\"?"}));
  EXPECT_EQ(found("status.html", "<a href=\"?dst=$(link-orgi-esc)\">", Rule::kUnknownVariable),
            std::vector<std::string>(
                {"1:15: \"$(link-orgi-esc)\" comes out as it is written: did you mean "
                 "\"link-orig-esc\"?"}));
  EXPECT_EQ(
      found("status.html", "<p>$(zzzzzzzz)</p>", Rule::kUnknownVariable),
      std::vector<std::string>({"1:4: \"$(zzzzzzzz)\" comes out as it is written: there is no such "
                                "variable"}));
}

TEST(Checks, VariablesOfOtherPages) {
  expectFindings(Rule::kVariableElsewhere,
                 {{"<p>$(chap-id)</p>", 1},
                  {"$(if chap-id)<p>$(chap-id)</p>$(endif)", 1},  // the condition
                  {"<p>$(popup)</p>", 1}});
  expectFindings(Rule::kVariableElsewhere, {{"<p data-id=\"$(chap-id-esc)\">$(popup)</p>", 0}},
                 "flogin.html");
  expectFindings(Rule::kVariableElsewhere,
                 {{"<p>$(popup)</p>", 1},
                  {"$(if popup)$(if trial == yes)<p>$(popup)</p>$(endif)$(endif)", 0},
                  {"$(if popup == true)<p>$(popup)</p>$(endif)", 0},
                  {"$(if popup != true)<p>$(popup)</p>$(endif)", 1},
                  {"$(if popup)$(else)<p>$(popup)</p>$(endif)", 1}},
                 "redirect.html");
  expectFindings(Rule::kVariableElsewhere, {{"<p>$(link-redirect)</p>", 1}}, "terms.html");
  expectFindings(Rule::kVariableElsewhere, {{"<p>$(link-redirect)</p>", 0}}, "de/alogin.html");
}

TEST(Checks, DirectivesThatWentWrong) {
  expectFindings(Rule::kWrongOperator, {{"$(if trial eq yes)$(endif)", 1},
                                        {"$(if uptime-secs > 60)$(endif)", 1},
                                        {"$(if trial=='yes')$(endif)", 1},
                                        {"$(if trial <> 'yes')$(endif)", 0},
                                        {"$(elif trial === yes)", 1}});
  expectFindings(Rule::kWordCount, {{"<p>$(user name)</p>", 1},
                                    {"$(if username)$(else if domain)$(endif)", 1},
                                    {"$(if)", 1},
                                    {"<p>$()</p>", 1},
                                    {"<p>%%</p>", 0},
                                    {"<p>% of it, %</p>", 0},
                                    {"%if trial yes%", 1},
                                    {"<p>100% if you pay 5%</p>", 0},
                                    {"<script>if (x) $(a, b)</script>", 0}});
  expectFindings(Rule::kBlankInQuotes, {{"$(if location-name == 'a b')", 1},
                                        {"$(if location-name == \"a b c\")", 1},
                                        {"$(if a == b c)", 0}});
  expectFindings(Rule::kMissingCloser, {{"<p>$(username", 1},
                                        {"<p>$(username <b>x</b> $(uptime)</p>", 1},
                                        {"<p>%session-time-left</p><p>%uptime%</p>", 1},
                                        {"<p>100% sure", 0},
                                        {"<p>50%", 0}});
}

TEST(Checks, PercentSigns) {
  expectFindings(Rule::kPercentText, {{"<p>%username%</p>", 0},
                                      {"<p>5%username%</p>", 1},
                                      {"<p>5%if trial == yes%x%endif%</p>", 0},
                                      {"<p>% username %</p>", 1},
                                      {"<p>$( username )</p>", 0},
                                      {"<p>%username)</p>", 1}});
}

TEST(Checks, ConditionsThatCannotHold) {
  expectFindings(Rule::kConstantCondition,
                 {{"$(if logged-in == true)x$(endif)", 1},
                  {"$(if logged-in == '')x$(endif)", 1},
                  {"$(if refresh-timeout-secs != 0)x$(endif)", 0},
                  {"$(if refresh-timeout-secs)x$(endif)", 1},
                  {"$(if error-type == unknown&lt;0xfe0001&gt;)x$(endif)", 0},
                  {"$(if error-type == unknown<0xfe0001>)x$(endif)", 1},
                  {"$(if error-type == '')x$(endif)", 0},
                  {"$(if username == 'a<b')x$(endif)", 1},
                  {"$(if username == a&lt;b)x$(endif)", 0},
                  {"$(if username-esc == a/b)x$(endif)", 1},
                  {"$(if username-esc == a%2Fb)", 0},
                  {"$(if radius == yes)x$(endif)", 1},
                  {"$(if radius)x$(endif)", 0},
                  {"$(if username)x$(endif)", 0}});
}

TEST(Checks, ValuesAndWhereTheyStand) {
  expectFindings(Rule::kUnescaped,
                 {{"<p>$(username)</p><title>$(username)</title>", 0},
                  {"<p title=\"$(username)\">", 1},
                  {"<p title=\"$(username-esc)\">", 0},
                  {"<p title=$(uptime) class='$(error-type)'>", 0},
                  {"<p $(if trial == yes)class=\"x\"$(endif)>", 0},
                  {"<p $(var)>", 1},
                  {"<script>var a = '$(username)';</script>", 1},
                  {"<script>var a = $(uptime-secs);</script>", 0},
                  {"<script>var a = '$(username-esc)';</script>", 0},
                  {"<a onclick=\"go('$(username)')\">", 1},
                  {"<style>$(var)</style>", 1},
                  {"<!-- $(username) -->", 0},
                  {"<a href=\"$(if trial == yes)a$(else)$(link-orig)$(endif)\">", 1},
                  {"<a href=\"http://$(hostname-esc)/login\">", 0}});
  expectFindings(Rule::kEscMisread,
                 {{"<p>$(username-esc)</p>", 1},
                  {"<p>$(uptime-secs-esc)</p>", 0},
                  {"<input value=\"$(username-esc)\">", 1},
                  {"<input value=\"$(idle-timeout-secs-esc)\">", 0},
                  {"<input data-value=\"$(username-esc)\">", 0},
                  {"<a href=\"$(link-login-esc)\">", 1},
                  {"<a href=\"login?dst=$(link-orig-esc)\">", 0},
                  {"<meta http-equiv=refresh content=\"0; url=$(link-redirect-esc)\">", 0},
                  {"<script>var a = $(username-esc);</script>", 1},
                  {"<script>var a = $(popup-esc);</script>", 0},
                  {"<script>var a = $(uptime-secs) + $(ip);</script>", 1},
                  {"<script>// of $(username-esc)\n</script>", 0}});
  expectFindings(Rule::kEscMisread,
                 {{"<meta http-equiv=refresh content=\"0; url=$(link-redirect-esc)\">", 1}},
                 "alogin.html");
  // The octal form is made for a script's string.
  expectFindings(Rule::kUnescaped, {{"<script>var a = '$(chap-id)' + x;</script>", 0}},
                 "login.html");
  expectFindings(Rule::kEscMisread, {{"<script>var a = $(chap-id) + x;</script>", 1}},
                 "login.html");
}

TEST(Checks, RemedyFitsThePlace) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"<input value=\"$(username)\">", "put \"$(username-esc)\" into a data- attribute"},
      {"<input type=hidden name=dst value=\"$(link-orig)\">",
       "put \"dst=$(link-orig-esc)\" into the query of the form's address"},
      {"<p data-a=\"$(username)\">", "write \"$(username-esc)\""},
      {"<a href=\"login?dst=$(link-orig)\">", "write \"$(link-orig-esc)\""},
      {"<a href=\"$(link-orig)\">", "put \"$(link-orig-esc)\" into a data- attribute"},
      {"<a href=\"$(link-status)\">", "write the link itself: \"status$(if target-dir)"},
      {"<script>x('$(username)');</script>", "in quotes and take it apart"}};
  for (const auto& [text, remedy] : cases) {
    const std::vector<std::string> lines = found("status.html", text, Rule::kUnescaped);
    ASSERT_EQ(lines.size(), 1u) << text;
    EXPECT_NE(lines[0].find(remedy), std::string::npos) << lines[0];
  }
}

TEST(Checks, OnlyWhatAClientCannotInfluenceIsAWarning) {
  const ScratchDir scratch;
  scratch.write("status.html", "<p title=\"$(server-name)\">\n<p title=\"$(username)\">");
  std::vector<lint::Severity> severities;
  for (const lint::Finding& finding : lint::lintDirectory(scratch.path())) {
    if (finding.rule == Rule::kUnescaped) severities.push_back(finding.severity);
  }
  EXPECT_EQ(severities,
            (std::vector<lint::Severity>{lint::Severity::kWarning, lint::Severity::kError}));
}

TEST(Checks, Links) {
  expectFindings(Rule::kMissingFile,
                 {{"<a href=\"logout\">", 0},
                  {"<a href=\"/status.html?x#y\">", 0},
                  {"<a href=\"set\">", 0},
                  {"<a href=\"./de/../login.html\">", 0},
                  {"<a href=\"\">", 0},
                  {"<a href=\"#top\">", 0},
                  {"<a href=\"mailto:desk@hotel.example\">", 0},
                  {"<a href=\"javascript:x()\">", 0},
                  {"<a href=\"data:,\">", 0},
                  {"<a href=\"$(link-status)\">", 0},
                  {"<a href=\"terms$(if target-dir)-$(var-esc)$(endif).html\">", 1},
                  {"<img src=\"a%20b.png\">", 1},
                  {"<link rel=canonical href=\"nowhere\">", 0},
                  {"<style>a { background: url('nowhere.png') }</style>", 1},
                  {"<style>@import 'nowhere.css'; @import \n\"gone.css\" print;</style>", 2},
                  {"<style>@import url(nowhere.css); @import \"gone.css</style>", 1},
                  {"<img srcset=\"one.png, two.png 2x , three.png 300w\">", 3},
                  {"<source srcset=\"one.png,two.png 2x\">", 1},
                  {"<img srcset=\"one.png 1x,two.png 2x\">", 2},
                  {"<img srcset=\" , ,one.png,, data:,x 2x,$(var-esc)/a.png 3x\">", 1},
                  {"<img srcset=\"\">", 0},
                  {"<a srcset=\"nowhere.png\">", 0},
                  {"<script>x.src = \"nowhere.png\";</script>", 0}});
  expectFindings(Rule::kOtherHost,
                 {{"<script src=\"//cdn.example/x.js\"></script>", 1},
                  {"<a href=\"https://hotel.example/\">", 1},
                  {"<form action=\"http://hotel.example/login\">", 1},
                  {"<img src=\"http://$(hostname-esc)/x\">", 0},
                  {"<style>@font-face { src: url(http://f.example/a) }</style>", 1},
                  {"<style>@import \"//f.example/a\";</style>", 1},
                  {"<img srcset=\"http://f.example/a 2x, https://g.example/b 3x\">", 2},
                  {"<html xmlns=\"http://www.w3.org/1999/xhtml\">", 0}});
}

TEST(Checks, FilesOfASubDirectoryMayComeFromTheTop) {
  const ScratchDir scratch;
  scratch.write("style.css", "");
  scratch.write("de/logo.png", "x");
  scratch.write("de/status.html",
                "<link rel=stylesheet href=style.css><img src=logo.png><img src=nowhere.png>");
  std::vector<std::string> messages;
  for (const lint::Finding& finding : lint::lintDirectory(scratch.path())) {
    if (finding.rule == Rule::kMissingFile) messages.push_back(finding.message);
  }
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_NE(messages[0].find("nowhere.png"), std::string::npos);
}

TEST(Checks, Forms) {
  expectFindings(
      Rule::kFormField,
      {{"<form action=\"login\"><input name=UserName><input name=radius8></form>", 1},
       {"<form action=\"http://$(hostname-esc)/login?x\"><input name=room></form>", 1},
       {"<form action=\"$(link-login-only)\"><input name=room></form>", 1},
       {"<form action=\"logout\"><input name=erase-cookie><input type=submit name=go></form>", 0},
       {"<form action=\"set\"><input name=idle-timeout><input name=username></form>", 1},
       {"<form action=\"search.html\"><input name=q></form>", 0},
       {"<form><input name=q></form><input name=q>", 1}});
  expectFindings(Rule::kFormField, {{"<form><input name=room></form>", 1}}, "flogin.html");
  expectFindings(Rule::kFormMethod,
                 {{"<form action=login><input name=password></form>", 1},
                  {"<form action=login method=POST><input name=password></form>", 0},
                  {"<form action=login method=post enctype=multipart/form-data></form>", 1}});
}

std::string withPolicy(const std::string& policy, const std::string& rest) {
  return "<meta http-equiv=Content-Security-Policy content=\"" + policy + "\">" + rest;
}

TEST(Checks, PagesKeepTheirOwnPolicy) {
  // The digests of "run()" and "a\nb" (openssl dgst -sha256 -binary | base64).
  const std::string run = "'sha256-AvyuiL0SD1mVY3NNxR+V2uo+lhk6RMFrytWmRt6CrJQ='";
  const std::string lineEnds = "'sha256-fhj3NzEbLcOy8mndeDlrA1HxT7Zu+oefdoyyMYGIPHg='";
  const struct {
    std::string policy;
    std::string rest;
    std::size_t findings;
  } cases[] = {
      {"script-src " + run, "<script>run()</script>", 0},
      {"script-src " + run, "<script>run();</script>", 1},
      {"script-src 'sha384-SVfatnSJinMW2kaY0tNr8GWYTbuLjipKiHfYDnLbPSlyVycMxOEHwtGmEAbxJXc1'",
       "<script>run()</script>", 0},
      {"default-src " + run, "<script>run()</script>", 0},
      {"script-src-elem " + run + "; script-src 'none'", "<script>run()</script>", 0},
      {"script-src 'none'; script-src " + run, "<script>run()</script>", 1},
      {"script-src " + lineEnds, "<script>a\r\nb</script>", 0},
      {"script-src 'unsafe-inline'", "<script>x</script><p onclick=x>", 0},
      {"script-src 'unsafe-inline' " + run, "<script>x</script><p onclick=x>", 2},
      {"script-src 'nonce-n1'", "<script nonce=n1>x</script><script nonce=n2>x</script>", 1},
      {"script-src " + run, "<script>$(if trial == yes)run()$(else)other()$(endif)</script>", 1},
      {"script-src " + run, "<script>x('$(username-esc)')</script>", 1},
      {"style-src 'self'", "<script>x</script><p onclick=x>", 0},
      {"default-src 'none'", "<script type=\"application/json\">{}</script>", 0},
      {"default-src 'none'", "<script type=module>x</script>", 1},
      {"default-src 'none'", "<script></script><script src=\"\"></script>", 0},
      {"style-src " + run, "<style>run()</style><style>other</style>", 1},
      {"style-src 'self'", "<p style=\"x\">", 1},
      {"style-src 'unsafe-hashes' " + run, "<p style=\"x\">", 0},
      {"default-src 'self'", "<img src=logo.svg><script src=a.js></script>", 0},
      {"default-src 'none'", "<img src=logo.svg><script src=a.js></script>", 2},
      {"default-src 'none'; img-src data:", "<img src=\"data:,\"><link rel=icon href=\"data:,\">",
       0},
      {"default-src 'none'; img-src 'self'", "<img src=\"data:,\"><img src=logo.svg>", 1},
      {"img-src http://$(hostname-esc)", "<img src=logo.svg>", 0},
      {"default-src 'none'", "<img src=\"$(var-esc)\"><a href=terms.html>x</a>", 0},
      {"default-src 'none'; style-src 'self'", "<link rel=stylesheet href=a.css>", 0},
      {"default-src 'none'", "<link rel=stylesheet href=a.css><link rel=canonical href=a>", 1},
      {"default-src &#39;self&#39;", "<img src=logo.svg>", 0},
      {"default-src 'none'; script-src 'self'$(if trial == yes) 'unsafe-inline'$(endif)",
       "<script>x</script>", 1},
  };
  for (const auto& c : cases) {
    const std::vector<std::string> lines =
        found("status.html", withPolicy(c.policy, c.rest), Rule::kPolicy);
    EXPECT_EQ(lines.size(), c.findings)
        << c.policy << c.rest << (lines.empty() ? std::string() : "\n" + lines[0]);
  }
  expectFindings(Rule::kPolicy, {{"<script>x</script><p onclick=x style=y>", 0}});
  EXPECT_EQ(found("status.html", "<script>x</script>" + withPolicy("default-src 'none'", ""),
                  Rule::kPolicy),
            std::vector<std::string>())
      << "a policy counts for what stands behind it";
  EXPECT_EQ(found("status.html", withPolicy("script-src 'self'", "\n<script>run()</script>"),
                  Rule::kPolicy),
            std::vector<std::string>({"2:1: this script does not run: the page's own policy "
                                      "forbids it (script-src); put it into a file, or " +
                                      run + " into the policy"}));
}

TEST(Checks, LanguagesFallBackInTheirOwnWay) {
  const ScratchDir scratch;
  for (const char* name :
       {"login.html", "flogin.html", "status.html", "de/login.html", "de/fstatus.html"}) {
    scratch.write(name, "x");
  }
  std::vector<std::string> lines;
  for (const lint::Finding& finding : lint::lintDirectory(scratch.path())) {
    if (finding.file.starts_with("de/")) lines.push_back(finding.file + ": " + finding.message);
  }
  EXPECT_EQ(
      lines,
      (std::vector<std::string>{
          "de/flogin.html: is not there: \"de/login.html\" is shown in its place, not the page "
          "directory's \"flogin.html\"",
          "de/fstatus.html: in \"de/\" these pages are not there and come from the page directory: "
          "status.html",
          "de/fstatus.html: is only the body of a redirect: the module looks for \"fstatus.html\" "
          "in the page directory itself to tell whether there is such a page; put one there too"}));
}

TEST(Checks, FilesThatNobodySees) {
  const ScratchDir scratch;
  for (const char* name :
       {"Login.html", "status.htm", "logout", "a..b.png", "xy.html", "set.cgi", "de/login.cgi"}) {
    scratch.write(name, "x");
  }
  std::vector<std::string> lines;
  for (const lint::Finding& finding : lint::lintDirectory(scratch.path())) {
    if (finding.rule == Rule::kNeverShown) {
      lines.push_back(finding.file + " " + std::string(severityName(finding.severity)));
    }
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"Login.html warning", "a..b.png warning",
                                             "de/login.cgi warning", "logout warning",
                                             "status.htm warning", "xy.html note"}));
}

TEST(Checks, PlainTextHasNoTags) {
  expectFindings(Rule::kUnescaped, {{"<a href=\"$(username)\">", 0}}, "terms.txt");
  expectFindings(Rule::kUnknownVariable, {{"Dear $(usrname)", 1}}, "terms.txt");
}

}  // namespace
