// The exchange with the hotspot manager: fields, their order, time-outs, what every reply
// refreshes.

#include <gtest/gtest.h>

#include "tests/support/visit.h"

namespace {

using fake::address;
using fake::Reply;
using fake::Visit;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kConnOrigDst = 0x08000000;
constexpr std::uint32_t kTargetDir = 0x2000044e;
constexpr std::uint32_t kRadius = 0x30000439;
constexpr std::uint32_t kOrigAddr = 0x080003ed;
constexpr std::uint32_t kOrigPort = 0x080003ee;

// 10.5.50.2 as a number is 168112642.
const Lines kCommon = {"0x88ff0001 [63 13]", "0x08ff0007 9", "0x080003e9 168112642"};

Lines after(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(Exchange, CommonFieldsFollowTheCommandsOwnInOrder) {
  Visit visit;
  HsConn conn = visit.connection();
  nv::message msg;
  msg.insert_string(0x20000001, "anna");
  conn.doHsCmd(msg, 9, "get", nullptr, 1234);
  ASSERT_EQ(visit.ctx.commands.size(), 1U);
  EXPECT_EQ(visit.command(0), after({"0x20000001 'anna'"}, kCommon));
  EXPECT_EQ(visit.ctx.commands[0].timeoutMs, 1234U);
  // The caller's message has gained them too.
  EXPECT_EQ(fake::fieldLines(msg), visit.command(0));
}

TEST(Exchange, TargetDirectoryIsAbsentRatherThanEmpty) {
  Visit visit;
  HsConn conn = visit.connection();
  nv::message plain;
  conn.doHsCmd(plain, 9, "get", nullptr, 1000);
  EXPECT_EQ(visit.command(0), kCommon);
  conn.targetDir = "lv/";
  nv::message targeted;
  conn.doHsCmd(targeted, 9, "get", nullptr, 1000);
  EXPECT_EQ(visit.command(1), after(kCommon, {"0x2000044e 'lv/'"}));
}

TEST(Exchange, ReplyIsCopiedWholeToTheCaller) {
  Visit visit;
  const Reply scripted = Reply().text(0x20000411, "http://ad").u32(0x080003ec, 7);
  visit.ctx.replies = {scripted, Reply().error(5, "down").u32(0x080003ec, 8)};
  HsConn conn = visit.connection();
  nv::message msg;
  nv::message reply;
  reply.insert_bool(0x451, true);
  EXPECT_EQ(conn.doHsCmd(msg, 11, "advert", &reply, 1000), 0U);
  EXPECT_EQ(fake::fieldLines(reply), (Lines{"0x20000411 'http://ad'", "0x080003ec 7"}));
  // An error reply too.
  EXPECT_EQ(conn.doHsCmd(msg, 11, "advert", &reply, 1000), 5U);
  EXPECT_EQ(reply.get_u32(0x080003ec, 0), 8U);
  EXPECT_TRUE(nv::isError(reply, nullptr, nullptr));
}

TEST(Exchange, VariablesAreRebuiltWithOrWithoutACallerForTheReply) {
  Visit visit;
  visit.ctx.replies = {Reply().text(0x20000001, "anna"), Reply().text(0x20000001, "bert"),
                       Reply().error(3, "no").text(0x20000001, "carl")};
  HsConn conn = visit.connection();
  nv::message msg;
  nv::message reply;
  conn.doHsCmd(msg, 9, "get", nullptr, 1000);
  EXPECT_EQ(conn.env["username"], "anna");
  conn.doHsCmd(msg, 9, "get", &reply, 1000);
  EXPECT_EQ(conn.env["username"], "bert");
  conn.doHsCmd(msg, 9, "get", nullptr, 1000);
  EXPECT_EQ(conn.env["username"], "carl");
}

TEST(Exchange, SilentManagerIsAnErrorUnderTheCommandsName) {
  Visit visit;
  HsConn conn = visit.connection();
  nv::message msg;
  EXPECT_EQ(conn.doHsCmd(msg, 8, "label", nullptr, 1000), 0xfe0002U);
  EXPECT_EQ(visit.debug.text(), "label failed: hotspot manager did not answer in time\n");
  EXPECT_EQ(visit.ctx.commands.size(), 1U);  // no retry
}

TEST(Exchange, EachCommandHasItsNumberNameTimeoutAndFields) {
  struct Case {
    const char* name;
    std::uint32_t (*send)(HsConn&);
    unsigned timeoutMs;
    Lines fields;
  };
  const Lines client = {"0x080003e9 168112642"};
  const auto common = [](const char* number) {
    return Lines{"0x88ff0001 [63 13]", std::string("0x08ff0007 ") + number, "0x080003e9 168112642"};
  };
  const Case cases[] = {
      {"status", [](HsConn& conn) { return conn.getStatus(); }, 1000,
       after({"0x08fe000c 6"}, common("1"))},
      {"login", [](HsConn& conn) { return conn.login("u", "p", "d", 42, nullptr); }, 18000,
       after({"0x20000001 'u'", "0x200003eb 'p'", "0x20000008 'd'", "0x000003f1 false",
              "0x080003ec 42"},
             common("2"))},
      {"logout", [](HsConn& conn) { return conn.logout(false); }, 1000,
       after({"0x08fe000c 6"}, common("3"))},
      {"logout", [](HsConn& conn) { return conn.logout(true); }, 1000,
       after({"0x08fe000c 6", "0x00000425 true"}, common("3"))},
      {"set",
       [](HsConn& conn) {
         nv::message msg;
         msg.insert_u32(0x0800000e, 300);
         return conn.setParams(msg);
       },
       1000, after({"0x0800000e 300"}, common("8"))},
      {"get", [](HsConn& conn) { return conn.getClInfo(); }, 1000,
       after({"0x08fe000c 4"}, common("9"))},
      {"alogin", [](HsConn& conn) { return conn.alogin(); }, 1000,
       after({"0x08fe000c 4"}, common("10"))},
      {"advert", [](HsConn& conn) { return conn.advert(nullptr); }, 1000,
       after({"0x08fe000c 4"}, common("11"))},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Visit visit;
    visit.reply();
    visit.ctx.replies = {Reply().error(0x11, "refused"), Reply()};
    HsConn conn = visit.connection();
    EXPECT_EQ(c.send(conn), 0x11U);
    EXPECT_EQ(visit.debug.text(), std::string(c.name) + " failed: refused\n");
    ASSERT_EQ(visit.ctx.commands.size(), 1U);
    EXPECT_EQ(visit.command(0), c.fields);
    EXPECT_EQ(visit.ctx.commands[0].timeoutMs, c.timeoutMs);
    EXPECT_EQ(c.send(conn), 0U);
  }
}

TEST(Exchange, OnlyLoginAndGetCarryTheOriginalDestinationBehindTheirOwnFields) {
  Visit visit;
  visit.req.connFlags = kConnOrigDst;
  visit.req.origDst[0] = 77;
  visit.req.origDst[1] = 8080;
  HsConn conn = visit.connection();
  conn.login("", "", "", 0, nullptr);
  EXPECT_EQ(visit.command(0),
            (Lines{"0x20000001 ''", "0x200003eb ''", "0x20000008 ''", "0x000003f1 false",
                   "0x080003ec 0", "0x080003ed 77", "0x080003ee 8080", "0x88ff0001 [63 13]",
                   "0x08ff0007 2", "0x080003e9 168112642"}));
  conn.getClInfo();
  EXPECT_EQ(visit.command(1),
            (Lines{"0x08fe000c 4", "0x080003ed 77", "0x080003ee 8080", "0x88ff0001 [63 13]",
                   "0x08ff0007 9", "0x080003e9 168112642"}));
  conn.getStatus();
  conn.logout(false);
  conn.alogin();
  conn.advert(nullptr);
  nv::message msg;
  conn.setParams(msg);
  for (std::size_t n = 2; n < 7; ++n) {
    EXPECT_EQ(visit.commandField(n, kOrigAddr), "(none)") << n;
    EXPECT_EQ(visit.commandField(n, kOrigPort), "(none)") << n;
  }
  EXPECT_EQ(visit.req.initOrigDstCalls, 0U);
}

TEST(Exchange, OriginalDestinationIsAskedForWordByWordWhileItIsZero) {
  struct Case {
    const char* what;
    std::uint32_t flags;
    std::uint32_t held[2];
    std::uint32_t known[2];
    unsigned calls;
    Lines fields;
  };
  const Case cases[] = {
      {"not redirected", 0xf7ffffff, {0, 0}, {5, 80}, 0, {}},
      {"not redirected, words held", 0, {5, 80}, {5, 80}, 0, {}},
      {"nothing held", kConnOrigDst, {0, 0}, {5, 80}, 1, {"0x080003ed 5", "0x080003ee 80"}},
      {"both held", kConnOrigDst, {6, 81}, {5, 80}, 0, {"0x080003ed 6", "0x080003ee 81"}},
      {"port missing", kConnOrigDst, {6, 0}, {5, 80}, 1, {"0x080003ed 6", "0x080003ee 80"}},
      {"address missing", kConnOrigDst, {0, 81}, {5, 80}, 1, {"0x080003ed 5", "0x080003ee 80"}},
      {"port stays unknown", kConnOrigDst, {0, 0}, {5, 0}, 2, {"0x080003ed 5", "0x080003ee 0"}},
      {"both stay unknown", kConnOrigDst, {0, 0}, {0, 0}, 2, {"0x080003ed 0", "0x080003ee 0"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Visit visit;
    visit.req.connFlags = c.flags;
    visit.req.origDst[0] = c.held[0];
    visit.req.origDst[1] = c.held[1];
    visit.req.knownOrigDst[0] = c.known[0];
    visit.req.knownOrigDst[1] = c.known[1];
    HsConn conn = visit.connection();
    nv::message msg;
    conn.insertProxy(msg);
    EXPECT_EQ(fake::fieldLines(msg), c.fields);
    EXPECT_EQ(visit.req.initOrigDstCalls, c.calls);
  }
}

TEST(Exchange, OriginalDestinationIsSentAsTheRequestHoldsItNotAsAnAddress) {
  Visit visit;
  visit.req.connFlags = kConnOrigDst;
  visit.req.origDst[0] = 0x01020304;
  visit.req.origDst[1] = 443;
  HsConn conn = visit.connection();
  nv::message msg;
  conn.insertProxy(msg);
  EXPECT_EQ(msg.get_u32(kOrigAddr, 0), 0x01020304U);
  EXPECT_EQ(msg.get_u32(kOrigPort, 0), 443U);
}

TEST(Exchange, NoParameterNamesARadiusAttribute) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.params = {{"radius", "1"},        {"radius1", "anna"}, {"radius26-9u", "5"},
                 {"radius8u[1]", "7"},   {"radius-", "x"},    {"radiu", "x"},
                 {"username", "radius"}, {"radius 1", "x"},   {"", "x"}};
  nv::message msg;
  conn.insertRadius(msg);
  EXPECT_EQ(msg.size_field(kRadius), 0U);
  EXPECT_TRUE(fake::fieldLines(msg).empty());
}

TEST(Exchange, ClientAddressIsInNetworkOrder) {
  Visit visit;
  visit.req.clientAddr = address(1, 2, 3, 4);
  HsConn conn = visit.connection();
  conn.getStatus();
  EXPECT_EQ(visit.commandField(0, 0x080003e9), "0x080003e9 16909060");  // 0x01020304
}

TEST(Exchange, RequestsOwnTargetDirectoryReachesTheManager) {
  Visit visit;
  visit.req.path = "/xml/status";
  visit.reply();
  visit.serve();
  EXPECT_EQ(visit.commandField(0, kTargetDir), "0x2000044e '/xml/'");
}

}  // namespace
