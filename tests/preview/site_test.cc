// What the site answers: the gallery's data, its frames, and what tries to be more.

#include "tools/hotspot_preview_site.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "tests/preview/preview_site.h"
#include "tools/hotspot_preview_data.h"
#include "tools/hotspot_preview_text.h"

namespace {

using nlohmann::json;
using preview::Asked;
using preview::Reply;

Reply ask(PreviewSite& preview, const std::string& host, const std::string& target = "/") {
  Asked asked;
  asked.host = host;
  asked.target = target;
  return preview.site().answer(asked);
}

TEST(PreviewSite, OwnFilesComeWithTheirTypes) {
  PreviewSite preview;
  const std::map<std::string, std::string> types = {
      {"/", "text/html; charset=utf-8"},
      {"/?target=de", "text/html; charset=utf-8"},
      {"/state/login", "text/html; charset=utf-8"},
      {"/gallery.css", "text/css; charset=utf-8"},
      {"/gallery.js", "text/javascript; charset=utf-8"},
      {"/parts.js", "text/javascript; charset=utf-8"},
      {"/state.js", "text/javascript; charset=utf-8"}};
  for (const auto& [target, type] : types) {
    const Reply reply = preview.gallery(target);
    EXPECT_EQ(reply.status, 200) << target;
    EXPECT_EQ(headerOf(reply, "Content-Type"), type);
    EXPECT_EQ(headerOf(reply, "X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(headerOf(reply, "Cross-Origin-Resource-Policy"), "same-origin");
    EXPECT_GT(reply.body.size(), 500u) << target;
  }
  const std::string policy = headerOf(preview.gallery("/"), "Content-Security-Policy");
  EXPECT_TRUE(policy.starts_with("default-src 'none'; script-src 'self';")) << policy;
  EXPECT_TRUE(policy.ends_with("frame-src http://*.preview.localhost:8400")) << policy;
  EXPECT_EQ(preview.gallery("/login.html").status, 404) << "the pages have hosts of their own";
  EXPECT_EQ(preview.gallery("/api/state/nosuch").status, 404);
  EXPECT_EQ(preview.gallery("/api/state/../gallery").status, 404);
}

TEST(PreviewSite, OnlyNamesOfThisMachineAreAnswered) {
  PreviewSite preview;
  for (const char* const host : {"127.0.0.1:8400", "localhost:8400", "LOCALHOST:1", "127.0.0.1"}) {
    EXPECT_EQ(ask(preview, host).status, 200) << host;
  }
  for (const char* const host :
       {"", ":", "evil.example", "evil.example:8400", "127.0.0.1.evil.example:8400",
        "preview.localhost:8400", "localhost.evil.example", "127.0.0.1:8400:8400", "127.0.0.1:",
        "127.0.0.1:84x", "127.0.0.1:123456", "[::1]:8400", "0.0.0.0:8400", "127.1:8400"}) {
    const Reply reply = ask(preview, host, "/api/gallery");
    EXPECT_EQ(reply.status, 421) << host;
    EXPECT_EQ(reply.body.find("login"), std::string::npos) << host;
  }
}

TEST(PreviewSite, UnknownStatesAndMethodsAreRefused) {
  PreviewSite preview;
  EXPECT_EQ(preview.frame("nosuch", "/login").status, 404);
  EXPECT_EQ(preview.frame("", "/login").status, 404);
  EXPECT_EQ(preview.frame("a.login", "/login").status, 404);
  EXPECT_EQ(preview.frame("login--0123456789abcdef", "/login").status, 404);
  EXPECT_EQ(preview.frame("login--", "/login").status, 404);
  EXPECT_EQ(preview.frame("login", "/login").status, 200);
  for (const char* const method : {"PUT", "DELETE", "HEAD", "OPTIONS", "POST"}) {
    Asked asked;
    asked.method = method;
    asked.host = "127.0.0.1:8400";
    EXPECT_EQ(preview.site().answer(asked).status, 405) << method;
    asked.host = "login.preview.localhost:8400";
    asked.target = "/login";
    const int expected = asked.method == "POST" ? 200 : 405;
    EXPECT_EQ(preview.site().answer(asked).status, expected) << method;
  }
}

TEST(PreviewSite, GalleryListsStatesLanguagesAndValues) {
  PreviewSite preview;
  preview.directory().write("de/login.html", "x");
  preview.noteChange();
  const json gallery = preview.json("/api/gallery");
  EXPECT_EQ(gallery["directory"], preview.directory().path().string());
  EXPECT_EQ(gallery["version"], 2);
  EXPECT_EQ(gallery["languages"], json({"de"}));
  EXPECT_EQ(gallery["states"].size(), preview.site().states().size());
  EXPECT_EQ(gallery["states"][0]["name"], "login");
  EXPECT_EQ(gallery["settings"].size(), preview::settings().size());
  EXPECT_EQ(gallery["problem"], "");
  preview.site().noteChange("too much to watch");
  EXPECT_EQ(preview.json("/api/gallery")["problem"], "too much to watch");
}

std::string variable(const json& state, const std::string& name) {
  for (const json& each : state["variables"]) {
    if (each["name"] == name) return each["value"];
  }
  return "not there";
}

TEST(PreviewSite, StateComesWithItsVariables) {
  PreviewSite preview;
  const json state = preview.json("/api/state/status");
  EXPECT_EQ(state["frame"], "http://status.preview.localhost:8400/status");
  EXPECT_EQ(state["shown"], "status");
  EXPECT_EQ(state["file"], "status.html");
  EXPECT_EQ(state["status"], 200);
  EXPECT_EQ(variable(state, "username"), "anna");
  EXPECT_EQ(variable(state, "uptime"), "10m");
  EXPECT_EQ(variable(state, "link-redirect"), "not there") << "not set on this page";
  EXPECT_EQ(variable(preview.json("/api/state/alogin"), "link-redirect"),
            "http://portal.example.net/status");
}

TEST(PreviewSite, EditedValuesReachPageAndVariables) {
  PreviewSite preview;
  const json state = preview.json("/api/state/status?username=b%26o&uptime=3600");
  EXPECT_EQ(variable(state, "username"), "b&o");
  EXPECT_EQ(variable(state, "uptime"), "1h");
  EXPECT_EQ(state["values"]["username"], "b&o");
  EXPECT_EQ(state["usual"]["username"], "anna");
  const std::string frame = state["frame"];
  const std::string label = frame.substr(7, frame.find('.') - 7);
  EXPECT_TRUE(label.starts_with("status--")) << frame;
  EXPECT_NE(preview.frame(label, "/status").body.find("status of b&amp;o"), std::string::npos);
  EXPECT_NE(preview.frame("status", "/status").body.find("status of anna"), std::string::npos);
}

TEST(PreviewSite, HostileValuesStayTexts) {
  PreviewSite preview;
  preview.directory().write("login.html", "<a title=\"$(username)\">$(username)</a>");
  const std::string texts[] = {"<script>alert(1)</script>",
                               "\"><img src=x onerror=alert(1)>",
                               "$(password)",
                               "$(username-esc)",
                               "%error%",
                               "\r\nSet-Cookie: a=b",
                               "\xff\xfe",
                               std::string("a\0b", 3),
                               "</a>\xe2\x80\xae"};
  for (const std::string& text : texts) {
    const Reply reply =
        preview.gallery("/api/state/login?username=" + preview::percentEncode(text));
    ASSERT_EQ(reply.status, 200) << text;
    const json state = json::parse(reply.body);
    if (text != texts[6]) {
      EXPECT_EQ(variable(state, "username"), text);
    }
    const std::string frame = state["frame"];
    const Reply page = preview.frame(frame.substr(7, frame.find('.') - 7), "/login");
    EXPECT_EQ(page.body.find("<script"), std::string::npos) << page.body;
    EXPECT_EQ(page.body.find("<img"), std::string::npos) << page.body;
    for (const auto& [name, value] : page.headers) {
      EXPECT_EQ(value.find_first_of("\r\n"), std::string::npos) << name;
    }
  }
}

// A host name of the portal that is made to look like markup does not become any.
TEST(PreviewSite, HostileHostsBecomeNoMarkup) {
  PreviewSite preview;
  preview.directory().write("login.html", "<a href=\"$(link-status)\">$(hostname)</a>");
  const json state =
      preview.json("/api/state/login?hostname=a%22%3E%3Cb%3E&dst=http%3A%2F%2F%3Cb%3E");
  const std::string frame = state["frame"];
  const Reply page =
      preview.frame(frame.substr(7, frame.find('.') - 7), frame.substr(frame.find('/', 7)));
  EXPECT_EQ(page.body.find("<b>"), std::string::npos) << page.body;
}

TEST(PreviewSite, WrongValuesAreAnsweredWithWhatToDo) {
  PreviewSite preview;
  const Reply reply = preview.gallery("/api/state/login?uptime=soon");
  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.body, "uptime cannot be \"soon\": give a whole number below 4294967296\n");
  EXPECT_EQ(preview.gallery("/api/state/login?nosuch=1").status, 400);
}

TEST(PreviewSite, PathsDoNotLeaveTheDirectory) {
  PreviewSite preview;
  const std::string outside = preview.directory().path().parent_path().string();
  for (const std::string target :
       {"/../../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "/..%2f..%2fetc/passwd",
        "/login?target=../../etc", "//etc/passwd", "/style.css%00", "/a/../../x"}) {
    const Reply reply = preview.frame("login", target);
    EXPECT_EQ(reply.body.find("root:"), std::string::npos) << target;
    EXPECT_TRUE(reply.status == 404 || reply.body.find("<h1>") != std::string::npos) << target;
  }
}

TEST(PreviewSite, RedirectIsShownAndTold) {
  PreviewSite preview;
  const json state = preview.json("/api/state/rlogin");
  EXPECT_EQ(state["status"], 302);
  EXPECT_EQ(state["location"],
            "http://portal.example.net/login?dst=http%3A%2F%2Fwww.example.com%2Fnews");
  EXPECT_EQ(state["file"], "redirect.html") << "in the place of rlogin.html";
  const Reply reply = preview.frame("rlogin", "/news");
  EXPECT_EQ(reply.status, 200) << "what the browser would not show";
  EXPECT_EQ(headerOf(reply, "Location"), "");
  EXPECT_NE(reply.body.find("<h1>redirect"), std::string::npos);
}

TEST(PreviewSite, FileOfALanguageOrItsFallbackIsNamed) {
  PreviewSite preview;
  preview.directory().write("de/login.html", "x");
  preview.noteChange();
  EXPECT_EQ(preview.json("/api/state/login?target=de")["file"], "de/login.html");
  EXPECT_EQ(preview.json("/api/state/status?target=de")["file"], "status.html");
  EXPECT_EQ(preview.json("/api/state/login-failed-invalid-mac?target=de")["file"], "de/login.html");
  EXPECT_EQ(preview.json("/api/state/set")["file"], "status.html");
}

TEST(PreviewSite, MissingPageIsA404ThatSaysSo) {
  PreviewSite preview;
  std::filesystem::remove(preview.directory().path() / "login.html");
  EXPECT_EQ(preview.json("/api/state/login")["status"], 404);
  EXPECT_EQ(preview.json("/api/state/login")["file"], "");
  EXPECT_EQ(preview.frame("login", "/login").status, 404);
}

Reply navigate(PreviewSite& preview, const std::string& target, bool byHand) {
  Asked asked;
  asked.host = "alogin-address.preview.localhost:8400";
  asked.target = target;
  asked.fetchMode = "navigate";
  if (byHand) asked.fetchUser = "?1";
  return preview.site().answer(asked);
}

TEST(PreviewSite, PageThatLeadsOnByItselfIsHeld) {
  PreviewSite preview;
  const std::string own = "/login?dst=http%3A%2F%2Fwww.example.com%2Fnews%3Fa%3D1%26b%3D2";
  EXPECT_EQ(navigate(preview, own, false).status, 200) << "the gallery's own";
  EXPECT_EQ(navigate(preview, "/status", false).status, 204);
  EXPECT_EQ(navigate(preview, "/status", true).status, 200);
  EXPECT_EQ(navigate(preview, "/_preview/leave/http://www.example.com/a?b", false).status, 204);
  const Reply left = navigate(preview, "/_preview/leave/http://www.example.com/a?b", true);
  EXPECT_NE(left.body.find("http://www.example.com/a?b"), std::string::npos);
}

TEST(PreviewSite, FramesLetNothingOfAnotherHostIn) {
  PreviewSite preview;
  EXPECT_EQ(headerOf(preview.frame("login", "/login"), "Content-Security-Policy"),
            "default-src 'self' 'unsafe-inline' 'unsafe-eval' data: blob:");
}

TEST(PreviewSite, FilesAreReadAtEachRequest) {
  PreviewSite preview;
  preview.directory().write("login.html", "first");
  EXPECT_EQ(preview.frame("login", "/login").body, "first");
  preview.directory().write("login.html", "second");
  EXPECT_EQ(preview.frame("login", "/login").body, "second");
}

// A preview that is open for days outlives what cleans temporary directories, and says what fails.
TEST(PreviewSite, TemporaryFilesThatAreGoneAreWrittenAgain) {
  const ScratchDir temporary;
  const char* const before = std::getenv("TMPDIR");
  const std::string usual = before == nullptr ? "/tmp" : before;
  setenv("TMPDIR", temporary.path().c_str(), 1);
  PreviewSite preview;
  setenv("TMPDIR", usual.c_str(), 1);
  const std::string inside = temporary.path();
  std::filesystem::path probes;
  for (const auto& entry : std::filesystem::directory_iterator(inside)) {
    if (std::filesystem::exists(entry.path() / "rlogin.html")) probes = entry.path();
  }
  ASSERT_FALSE(probes.empty());
  std::filesystem::remove_all(probes);
  EXPECT_EQ(variable(preview.json("/api/state/status"), "username"), "anna");
  std::filesystem::remove_all(probes);
  std::ofstream(probes) << "in the way";
  const Reply reply = preview.gallery("/api/state/status");
  EXPECT_EQ(reply.status, 500);
  EXPECT_NE(reply.body.find(probes.string()), std::string::npos) << reply.body;
}

TEST(PreviewSite, FindingsAreTheLinters) {
  PreviewSite preview;
  preview.directory().write("status.html",
                            "<html><head><meta charset=\"utf-8\"></head>$(usrname)</html>");
  const auto unknown = [&] {
    const json answer = preview.json("/api/findings");
    for (const json& finding : answer["findings"]) {
      if (finding["rule"] == "unknown-variable") return finding;
    }
    return json();
  };
  const json finding = unknown();
  ASSERT_FALSE(finding.is_null());
  EXPECT_EQ(finding["file"], "status.html");
  EXPECT_EQ(finding["line"], 1);
  EXPECT_EQ(finding["column"], 42);
  EXPECT_EQ(finding["severity"], "error");
  EXPECT_NE(finding["message"].get<std::string>().find("username"), std::string::npos);
  preview.directory().write("status.html",
                            "<html><head><meta charset=\"utf-8\"></head>$(username)</html>");
  preview.noteChange();
  EXPECT_TRUE(unknown().is_null());
  std::filesystem::remove_all(preview.directory().path());
  preview.noteChange();
  EXPECT_NE(preview.json("/api/findings")["error"], "");
}

TEST(PreviewSite, EveryVariableIsBelowTheHeadingOfItsTopic) {
  PreviewSite preview;
  const json state = preview.json("/api/state/status");
  std::map<std::string, std::string> headings;
  for (const json& each : state["variables"]) {
    headings[each["name"]] = each["group"];
  }
  EXPECT_EQ(headings["username"], "Guest and session");
  EXPECT_EQ(headings["error-type"], "Errors");
  EXPECT_EQ(headings["link-login"], "Links");
  EXPECT_EQ(headings["bytes-in"], "Traffic");
  EXPECT_EQ(headings["hostname"], "The hotspot");
}

}  // namespace
