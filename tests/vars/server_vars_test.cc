// Who serves the page: address, names, and the host text of the links.

#include <gtest/gtest.h>

#include "tests/support/visit.h"
#include "tests/vars/env_text.h"

namespace {

using fake::address;
using fake::Reply;
using fake::Visit;

constexpr std::uint32_t kServerAddress = 0x0800044f;
constexpr std::uint32_t kDnsName = 0x2000044e;

TEST(ServerVars, ConnectionsLocalAddressStandsInForAMissingOne) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initServerName(Reply()), "10.5.50.1");
  const HsConn::StringMap expected = {{"server-address", "10.5.50.1:80"},
                                      {"server-name", ""},
                                      {"interface-name", ""},
                                      {"location-id", ""},
                                      {"location-name", ""}};
  EXPECT_EQ(conn.env, expected);
  EXPECT_EQ(conn.serverAddr, address(10, 5, 50, 1));
}

TEST(ServerVars, AddressZeroInTheReplyCountsAsMissing) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initServerName(Reply().be32(kServerAddress, 0)), "10.5.50.1");
}

TEST(ServerVars, PortIsThatOfTheSchemeAlways) {
  Visit visit;
  visit.req.isSsl = true;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initServerName(Reply()), "10.5.50.1");
  EXPECT_EQ(variable(conn, "server-address"), "10.5.50.1:443");
}

TEST(ServerVars, AddressOfTheReplyReplacesTheLocalOne) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initServerName(Reply().be32(kServerAddress, address(192, 168, 88, 1))),
            "192.168.88.1");
  EXPECT_EQ(variable(conn, "server-address"), "192.168.88.1:80");
  EXPECT_EQ(conn.serverAddr, address(192, 168, 88, 1));
}

TEST(ServerVars, AddressIsTheNumberMostSignificantByteFirst) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initServerName(Reply().u32(kServerAddress, 0xc0a85801)), "192.168.88.1");
}

TEST(ServerVars, DnsNameIsTheHostTextAndLeavesTheAddressAlone) {
  Visit visit;
  HsConn conn = visit.connection();
  EXPECT_EQ(conn.initServerName(Reply().text(kDnsName, "portal.test")), "portal.test");
  EXPECT_EQ(variable(conn, "server-address"), "10.5.50.1:80");
  conn.initCfg("get", Reply().text(kDnsName, "portal.test"));
  EXPECT_EQ(variable(conn, "hostname"), "portal.test");
  EXPECT_EQ(conn.initServerName(Reply().text(kDnsName, "")), "10.5.50.1");
}

TEST(ServerVars, NamesAndLocationAreCopied) {
  Visit visit;
  HsConn conn = visit.connection();
  conn.initServerName(Reply()
                          .text(0x20000455, "hs-lobby")
                          .text(0x20000456, "bridge1")
                          .text(0x20000457, "isocc=lv")
                          .text(0x20000458, "Riga, lobby"));
  EXPECT_EQ(variable(conn, "server-name"), "hs-lobby");
  EXPECT_EQ(variable(conn, "interface-name"), "bridge1");
  EXPECT_EQ(variable(conn, "location-id"), "isocc=lv");
  EXPECT_EQ(variable(conn, "location-name"), "Riga, lobby");
}

}  // namespace
