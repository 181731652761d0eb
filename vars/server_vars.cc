// Page variables that say who serves the page.

#include "host/address.h"
#include "servlet/hs_conn.h"
#include "template/format.h"
#include "vars/env_writer.h"

namespace {

constexpr std::uint32_t kServerAddress = 0x0800044f;
constexpr std::uint32_t kServerName = 0x20000455;
constexpr std::uint32_t kInterfaceName = 0x20000456;
constexpr std::uint32_t kLocationId = 0x20000457;
constexpr std::uint32_t kLocationName = 0x20000458;
constexpr std::uint32_t kDnsName = 0x2000044e;

}  // namespace

std::string HsConn::initServerName(const nv::message& reply) {
  EnvWriter vars(env);
  std::string host = initServerName(reply, vars);
  vars.write();
  return host;
}

std::string HsConn::initServerName(const nv::message& reply, EnvWriter& vars) {
  serverAddr = reply.get_be32(kServerAddress, 0);
  if (serverAddr == 0) serverAddr = req.localAddr;
  std::string address = IPAddr{serverAddr}.str();
  vars.set("interface-name", reply.get_string(kInterfaceName, ""));
  vars.set("location-id", reply.get_string(kLocationId, ""));
  vars.set("location-name", reply.get_string(kLocationName, ""));
  // The scheme's port, whatever port the request arrived on, and written also when it is the
  // default one.
  vars.set("server-address", address + ':' + num2str(req.isSsl ? 443 : 80, "%u"));
  vars.set("server-name", reply.get_string(kServerName, ""));
  std::string dnsName = reply.get_string(kDnsName, "");
  if (dnsName.empty()) return address;
  return dnsName;
}
