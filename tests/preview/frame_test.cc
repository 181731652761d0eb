// Where the links and forms of a frame lead.

#include "tools/hotspot_preview_frame.h"

#include <gtest/gtest.h>

#include "tests/preview/preview_site.h"

namespace {

using preview::PageRequest;

const preview::FrameHosts kHosts = {
    "portal.example.net", {"www.example.com", "user@b:81"}, "login.preview.localhost:8400"};

std::string shown(const std::string& page) { return preview::withFrameAddresses(page, kHosts); }

TEST(FrameAddresses, PortalsLeadToTheFrame) {
  const std::string frame = "http://login.preview.localhost:8400";
  EXPECT_EQ(shown("<a href=\"http://portal.example.net/login\">"),
            "<a href=\"" + frame + "/login\">");
  EXPECT_EQ(shown("<form action='https://portal.example.net/login'>"),
            "<form action='" + frame + "/login'>");
  EXPECT_EQ(shown("<a href=http://portal.example.net>"), "<a href=" + frame + ">");
  EXPECT_EQ(shown("content=\"0; url=http://portal.example.net/a\""),
            "content=\"0; url=" + frame + "/a\"");
  EXPECT_EQ(shown("x=\"http%3A%2F%2Fportal.example.net%2Flogin\""),
            "x=\"http%3A%2F%2Flogin.preview.localhost%3A8400%2Flogin\"");
}

TEST(FrameAddresses, OtherSitesLeadToWhereOneIsToldSo) {
  const std::string leave = "http://login.preview.localhost:8400/_preview/leave/";
  EXPECT_EQ(shown("<a href=\"https://www.example.com/a?b&amp;c\">"),
            "<a href=\"" + leave + "https://www.example.com/a?b&amp;c\">");
  EXPECT_EQ(shown("<a href=\"http://user@b:81/\">"), "<a href=\"" + leave + "http://user@b:81/\">");
  EXPECT_EQ(shown("data-to=\"http%3A%2F%2Fwww.example.com%2Fa\""),
            "data-to=\"http%3A%2F%2Flogin.preview.localhost%3A8400%2F%5Fpreview%2Fleave%2F"
            "http%3A%2F%2Fwww.example.com%2Fa\"");
}

TEST(FrameAddresses, WhatAGuestReadsAndWhatIsNoneStays) {
  for (const char* const text :
       {"<p>http://portal.example.net/login</p>", "Go to http://www.example.com/news",
        "<a href=\"login?dst=http%3A%2F%2Fwww.example.com%2F\">",
        "<a href=\"http://portal.example.net.evil.example/\">",
        "<a href=\"http://www.example.community/\">", "<svg xmlns=\"http://www.w3.org/2000/svg\">",
        "<a href=\"ftp://portal.example.net/\">", "\"http://portal.example.net", "\"http://", "://",
        "'https%3A%2F%2F", "p://"}) {
    EXPECT_EQ(shown(text), text);
  }
}

TEST(FrameAddresses, HostsComeFromTheVariables) {
  preview::Variables variables;
  variables.values = {{"hostname", "h"},
                      {"link-redirect", "https://u:p@a.example:8080?x"},
                      {"link-orig", "http://h/status"}};
  const preview::FrameHosts hosts = preview::hostsOf(variables, "f:1");
  EXPECT_EQ(hosts.portal, "h");
  EXPECT_EQ(hosts.frame, "f:1");
  EXPECT_EQ(hosts.others, (std::vector<std::string>{"u:p@a.example:8080"}));
  EXPECT_EQ(preview::hostsOf({}, "f:1").others, std::vector<std::string>{});
}

// Long pages that are nothing but beginnings of addresses.
TEST(FrameAddresses, HostilePagesAreQuicklyRead) {
  for (const std::string part : {"\"http://", "http://portal.example.net", "%3A%2F%2F",
                                 "\"http%3A%2F%2Fwww.example.com", "://://"}) {
    std::string page;
    while (page.size() < 2000000) page += part;
    EXPECT_GE(shown(page).size(), page.size()) << part;
  }
}

class Answering : public testing::Test {
 protected:
  // The name of the state whose values answer a request within another state.
  std::string answers(const std::string& state, const std::string& path,
                      const std::string& query = "", const std::string& body = "") {
    const preview::Values& own = preview::findState(states_, state)->values;
    const PageRequest request = {!body.empty(), path, query, body};
    const preview::Values values = preview::answeringValues(states_, own, request);
    if (values == own) return "own";
    for (const preview::State& other : states_) {
      if (other.values == values) return other.name;
    }
    return "another";
  }

  const std::vector<preview::State> states_ = preview::fixedStates();
};

TEST_F(Answering, LoginWithANameSucceeds) {
  EXPECT_EQ(answers("login", "login", "", "username=anna&password=x"), "alogin");
  EXPECT_EQ(answers("login-failed-invalid-username", "de/login", "username=trial"), "alogin");
  EXPECT_EQ(answers("logout", "login", "", "UserName=anna"), "alogin");
}

TEST_F(Answering, OwnPageStaysAsItIs) {
  EXPECT_EQ(answers("login-failed-invalid-username", "login", "target=de"), "own");
  EXPECT_EQ(answers("fstatus", "status"), "own");
  EXPECT_EQ(answers("status", "login"), "own");
  EXPECT_EQ(answers("logout", "logout"), "own");
  EXPECT_EQ(answers("status", "set", "idle-timeout=60"), "own");
}

TEST_F(Answering, OtherPagesAreAsInASession) {
  EXPECT_EQ(answers("login", "status"), "status");
  EXPECT_EQ(answers("status", "logout"), "logout");
  EXPECT_EQ(answers("logout", "login"), "login");
  EXPECT_EQ(answers("flogout", "login.html"), "login");
  EXPECT_EQ(answers("rlogin", "login", "dst=x"), "login");
}

TEST_F(Answering, FilesComeWhateverFailed) {
  PreviewSite preview;
  preview.directory().write("style.css", "p {}");
  const preview::Reply reply = preview.frame("login-failed-internal-error", "/style.css");
  EXPECT_EQ(headerOf(reply, "Content-Type"), "text/css");
  EXPECT_EQ(reply.body, "p {}");
  EXPECT_NE(preview.frame("error", "/logo.png").body.find("<h1>error"), std::string::npos);
}

TEST(LeavingPage, SaysWhereInHarmlessText) {
  const std::string page = preview::leavingPage("http://a/<script>\"'&");
  EXPECT_NE(page.find("http://a/&lt;script&gt;&quot;&#39;&amp;"), std::string::npos) << page;
  EXPECT_EQ(page.find("<script>"), std::string::npos);
}

}  // namespace
