#include "vars/counter_vars.h"

#include "template/format.h"

namespace {

constexpr std::uint32_t kBytesIn = 0x10000015;
constexpr std::uint32_t kPacketsIn = 0x10000016;
constexpr std::uint32_t kBytesOut = 0x10000017;
constexpr std::uint32_t kPacketsOut = 0x10000018;
constexpr std::uint32_t kLimitBytesIn = 0x1000001f;
constexpr std::uint32_t kLimitBytesOut = 0x10000020;
constexpr std::uint32_t kLimitBytesTotal = 0x10000021;

// One limit and what remains of it after `used` bytes.
void setLimitVars(std::string& limitVar, std::string& remainVar, std::uint64_t limit,
                  std::uint64_t used) {
  limitVar = limit == 0 ? std::string() : ull2str(limit);
  remainVar = limit == 0 ? std::string() : ull2str(limit - used);
}

}  // namespace

void setCounterVars(std::map<std::string, std::string>& env, const nv::message& reply) {
  const std::uint64_t bytesIn = reply.get_u64(kBytesIn, 0);
  const std::uint64_t bytesOut = reply.get_u64(kBytesOut, 0);
  env["bytes-in"] = ull2str(bytesIn);
  env["bytes-out"] = ull2str(bytesOut);
  env["bytes-in-nice"] = getNiceBytes(bytesIn);
  env["bytes-out-nice"] = getNiceBytes(bytesOut);
  env["packets-in"] = ull2str(reply.get_u64(kPacketsIn, 0));
  env["packets-out"] = ull2str(reply.get_u64(kPacketsOut, 0));
  setLimitVars(env["limit-bytes-in"], env["remain-bytes-in"], reply.get_u64(kLimitBytesIn, 0),
               bytesIn);
  setLimitVars(env["limit-bytes-out"], env["remain-bytes-out"], reply.get_u64(kLimitBytesOut, 0),
               bytesOut);
  setLimitVars(env["limit-bytes-total"], env["remain-bytes-total"],
               reply.get_u64(kLimitBytesTotal, 0), bytesOut + bytesIn);
}

bool initChap(std::map<std::string, std::string>& env, std::string value) {
  const bool hasChallenge = value.size() > 1;
  env["chap-id"] = hasChallenge ? bin2oct(value.substr(0, 1)) : std::string();
  env["chap-challenge"] = hasChallenge ? bin2oct(value.substr(1)) : std::string();
  return hasChallenge;
}
