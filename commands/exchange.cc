// The exchange with the hotspot manager that every command shares.

#include "commands/fields.h"
#include "servlet/hs_conn.h"
#include "template/format.h"
#include "template/var_val.h"

std::uint32_t HsConn::doHsCmd(nv::message& msg, std::uint32_t cmd, const char* name,
                              nv::message* reply, unsigned timeoutMs) {
  msg.insert_u32_array(kFieldManager, {63, 13});
  msg.insert_u32(kFieldCommand, cmd);
  msg.insert_be32(kFieldClientAddr, req.clientAddr);
  if (!targetDir.empty()) msg.insert_string(kFieldTargetDir, targetDir);
  const nv::message answer = ctx.sendRequest(msg, timeoutMs);
  if (reply != nullptr) *reply = answer;
  return initCfg(name, answer);
}

void HsConn::insertProxy(nv::message& msg) {
  if ((req.connFlags & kConnOrigDstKnown) == 0) return;
  if (req.origDst[0] == 0) req.initOrigDst();
  msg.insert_u32(kFieldOrigDstAddr, req.origDst[0]);
  if (req.origDst[1] == 0) req.initOrigDst();
  msg.insert_u32(kFieldOrigDstPort, req.origDst[1]);
}

void HsConn::insertRadius(nv::message& msg) {
  radius::Packet packet;
  for (const auto& [name, value] : params) {
    unsigned vendor = 0;
    unsigned type = 0;
    bool numeric = false;
    if (!parseRadiusId(name, &vendor, &type, &numeric, nullptr)) continue;
    if (vendor == 0 && type == 0) continue;
    if (numeric) {
      const std::uint32_t number = parseNumber(value.c_str(), nullptr, 0);
      const char bytes[4] = {static_cast<char>(number >> 24), static_cast<char>(number >> 16),
                             static_cast<char>(number >> 8), static_cast<char>(number)};
      packet.add(vendor, type, bytes, sizeof bytes);
    } else {
      packet.add(vendor, type, value.data(), static_cast<unsigned>(value.size()));
    }
  }
  if (!packet.bytes.empty()) msg.insert_raw(kFieldRadius, packet.bytes);
}
