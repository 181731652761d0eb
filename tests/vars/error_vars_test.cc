// Why a command failed: the error variables, the debug line, the dropped connection.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/visit.h"
#include "tests/vars/env_text.h"

namespace {

using fake::Reply;
using fake::Visit;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kPageMessage = 0x20000454;
constexpr std::uint32_t kRadius = 0x30000439;
constexpr std::uint32_t kUser = 0x20000001;

TEST(ErrorVars, TypeIsTheNameOfTheCode) {
  struct Case {
    unsigned code;
    const char* type;
  };
  const Case cases[] = {
      {0x0, ""},
      {0x1, "internal-error"},
      {0x2, "config-error"},
      {0x3, "not-logged-in"},
      {0x4, "ippool-empty"},
      {0x5, "shutting-down"},
      {0x6, "user-session-limit"},
      {0x7, ""},
      {0x8, "wrong-mac-username"},
      {0x9, "chap-missing"},
      {0xa, "invalid-username"},
      {0xb, "invalid-mac"},
      {0xc, "uptime-limit"},
      {0xd, "traffic-limit"},
      {0xe, "radius-timeout"},
      {0xf, "auth-in-progress"},
      {0x10, "radius-reply"},
      {0x11, "unknown<0x11>"},
      {0x1f, "unknown<0x1f>"},
      {0x20, "unknown<0x20>"},
      {0xfe0002, "unknown<0xfe0002>"},
      {0xffffffff, "unknown<0xffffffff>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    Visit visit;
    HsConn conn = visit.connection();
    EXPECT_EQ(conn.initCfg("login", Reply().error(c.code, "why")), c.code);
    EXPECT_EQ(variable(conn, "error-type"), c.type);
    EXPECT_EQ(variable(conn, "error-orig"), "why");
    EXPECT_EQ(variable(conn, "error"), "why");
  }
}

TEST(ErrorVars, EmptyTextIsReplacedByThePlatforms) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initCfg("login", Reply().error(0x4, "")), 4U);
  EXPECT_EQ(variable(conn, "error-orig"), "error 0x4");
  EXPECT_EQ(variable(conn, "error"), "error 0x4");
  EXPECT_EQ(visit.debug.text(), "login failed: error 0x4\n");
}

TEST(ErrorVars, FailureLineIsWrittenPieceByPiece) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("alogin", Reply().error(0xa, "no such user"));
  EXPECT_EQ(visit.debug.pieces(), (Lines{"alogin", " failed: ", "no such user", "\n"}));
}

TEST(ErrorVars, FailureLineHasTheErrorsTextNotThePages) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("set", Reply().error(1, "$(username)").text(kPageMessage, "page"));
  EXPECT_EQ(visit.debug.text(), "set failed: $(username)\n");
}

TEST(ErrorVars, SuccessIsSilentAndEmpty) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initCfg("status", Reply()), 0U);
  EXPECT_EQ(variable(conn, "error"), "");
  EXPECT_EQ(variable(conn, "error-type"), "");
  EXPECT_EQ(variable(conn, "error-orig"), "");
  EXPECT_EQ(visit.debug.text(), "");
}

TEST(ErrorVars, LaterSuccessClearsAnEarlierError) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("login", Reply().error(0xa, "no such user"));
  EXPECT_EQ(conn.initCfg("get", Reply()), 0U);
  EXPECT_EQ(variable(conn, "error"), "");
  EXPECT_EQ(variable(conn, "error-type"), "");
  EXPECT_EQ(variable(conn, "error-orig"), "");
}

TEST(ErrorVars, ErrorReplyStillRefreshesTheOtherVariables) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.env["username"] = "old";
  conn.loggedIn = true;
  conn.initCfg("login", Reply().error(0xa, "no").u32(0x08000011, 2).text(0x2000044d, "/p/"));
  EXPECT_EQ(variable(conn, "username"), "");
  EXPECT_EQ(variable(conn, "advert-pending"), "yes");
  EXPECT_EQ(conn.htmlDir, "/p/");
  EXPECT_FALSE(conn.loggedIn);
}

TEST(ErrorVars, PageMessageTakesThePlaceOfTheErrorText) {
  struct Case {
    const char* what;
    const char* message;
    const char* error;
  };
  const Case cases[] = {
      {"plain", "come back tomorrow", "come back tomorrow"},
      {"an empty one too", "", ""},
      {"names a variable", "sorry, $(username)", "sorry, <anna>"},
      {"the other form", "sorry, %username%!", "sorry, <anna>!"},
      {"values are not escaped for markup", "$(username)", "<anna>"},
      {"a per cent sign alone", "100% full", "100% full"},
      {"a dollar sign alone", "5$ a day", "5$ a day"},
      {"a block", "$(if blocked == 'yes')pay$(else)wait$(endif)", "wait"},
      {"markup without either sign", "a < b \\ (c)", "a < b \\ (c)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Visit visit;
    HsConn conn = visit.connection();
    conn.initCfg(
        "login",
        Reply().error(4, "pool empty").text(kPageMessage, c.message).text(kUser, "<anna>"));
    EXPECT_EQ(variable(conn, "error"), c.error);
    EXPECT_EQ(variable(conn, "error-orig"), "pool empty");
    EXPECT_EQ(variable(conn, "error-type"), "ippool-empty");
  }
}

TEST(ErrorVars, PageMessageOfASuccessIsShownToo) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initCfg("status", Reply().text(kPageMessage, "hi $(username)").text(kUser, "u")),
            0U);
  EXPECT_EQ(variable(conn, "error"), "hi u");
  EXPECT_EQ(variable(conn, "error-orig"), "");
  EXPECT_EQ(variable(conn, "error-type"), "");
}

TEST(ErrorVars, ErrorTextIsRenderedWhenThereIsNoPageMessage) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("login", Reply().error(1, "user $(username)?").text(kUser, "u"));
  EXPECT_EQ(variable(conn, "error"), "user u?");
  EXPECT_EQ(variable(conn, "error-orig"), "user $(username)?");
}

TEST(ErrorVars, MessageSeesTheErrorTypeButNotYetTheError) {
  Visit visit;
  HsConn conn = visit.connection();
  const Reply reply =
      Reply().error(4, "E").text(kPageMessage, "$(error-type)/$(error-orig)/$(error)");
  conn.initCfg("login", reply);
  EXPECT_EQ(variable(conn, "error"), "ippool-empty/E/$(error)");
  conn.initCfg("get", reply);
  EXPECT_EQ(variable(conn, "error"), "ippool-empty/E/ippool-empty/E/$(error)");
}

TEST(ErrorVars, MessageEndsAtADirectiveThatClosesNothing) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("get", Reply().text(kPageMessage, "a$(endif)b"));
  EXPECT_EQ(variable(conn, "error"), "a");
  EXPECT_EQ(visit.debug.pieces(), (Lines{"  ", "9", " bytes left!", "\n"}));
}

TEST(ErrorVars, OneCodeAloneDropsTheClient) {
  struct Case {
    unsigned code;
    bool dropped;
  };
  const Case cases[] = {{0xfe0004, true}, {0xfe0003, false}, {0xfe0002, false}, {4, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    Visit visit;
    visit.req.socket = ends[0];
    HsConn conn = visit.connection();
    EXPECT_EQ(conn.initCfg("get", Reply().error(c.code, "gone")), c.code);
    EXPECT_EQ(fcntl(ends[0], F_GETFD) == -1, c.dropped);
    EXPECT_EQ(visit.resp.keepAlive, !c.dropped);
    EXPECT_EQ(visit.resp.reusable, !c.dropped);
    // The rest goes on as for any other error.
    EXPECT_EQ(variable(conn, "error"), "gone");
    if (!c.dropped) close(ends[0]);
    close(ends[1]);
  }
}

TEST(ErrorVars, MessageSeesTheRadiusAttributesOfItsOwnReply) {
  Visit visit;
  HsConn conn = visit.connection();
  const char* const text = "$(if radius)with$(else)without$(endif)";
  conn.initCfg("get", Reply().raw(kRadius, {18, 4, 'h', 'i'}).text(kPageMessage, text));
  EXPECT_EQ(variable(conn, "error"), "with");
  conn.initCfg("get", Reply().raw(kRadius, {}).text(kPageMessage, text));
  EXPECT_EQ(variable(conn, "error"), "without");
}

TEST(ErrorVars, DroppedClientsErrorHasNoName) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initCfg("get", Reply().error(0xfe0004, ""));
  EXPECT_EQ(variable(conn, "error-type"), "unknown<0xfe0004>");
  EXPECT_EQ(variable(conn, "error"), "error 0xfe0004");
}

}  // namespace
