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

// The text of a limit, or of what remains of one: none where there is no limit.
std::string limitText(std::uint64_t limit, std::uint64_t count) {
  return limit == 0 ? std::string() : ull2str(count);
}

}  // namespace

void setCounterVars(std::map<std::string, std::string>& env, const nv::message& reply) {
  EnvWriter vars(env);
  setCounterVars(vars, reply);
  vars.write();
}

void setCounterVars(EnvWriter& vars, const nv::message& reply) {
  const std::uint64_t bytesIn = reply.get_u64(kBytesIn, 0);
  const std::uint64_t bytesOut = reply.get_u64(kBytesOut, 0);
  const std::uint64_t limitIn = reply.get_u64(kLimitBytesIn, 0);
  const std::uint64_t limitOut = reply.get_u64(kLimitBytesOut, 0);
  const std::uint64_t limitTotal = reply.get_u64(kLimitBytesTotal, 0);

  vars.set("bytes-in", ull2str(bytesIn));
  vars.set("bytes-in-nice", getNiceBytes(bytesIn));
  vars.set("bytes-out", ull2str(bytesOut));
  vars.set("bytes-out-nice", getNiceBytes(bytesOut));
  vars.set("limit-bytes-in", limitText(limitIn, limitIn));
  vars.set("limit-bytes-out", limitText(limitOut, limitOut));
  vars.set("limit-bytes-total", limitText(limitTotal, limitTotal));
  vars.set("packets-in", ull2str(reply.get_u64(kPacketsIn, 0)));
  vars.set("packets-out", ull2str(reply.get_u64(kPacketsOut, 0)));
  vars.set("remain-bytes-in", limitText(limitIn, limitIn - bytesIn));
  vars.set("remain-bytes-out", limitText(limitOut, limitOut - bytesOut));
  vars.set("remain-bytes-total", limitText(limitTotal, limitTotal - bytesOut - bytesIn));
}

bool initChap(std::map<std::string, std::string>& env, std::string value) {
  const bool hasChallenge = value.size() > 1;
  env["chap-challenge"] = hasChallenge ? bin2oct(value.substr(1)) : std::string();
  env["chap-id"] = hasChallenge ? bin2oct(value.substr(0, 1)) : std::string();
  return hasChallenge;
}
