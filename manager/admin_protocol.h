// The administrator's messages, between hotspotctl and the manager. A request is a verb and its
// arguments, a reply is a result or an error (the error form of host/message.h);
// docs/manager-protocol.md lists them.

#ifndef MANAGER_ADMIN_PROTOCOL_H_
#define MANAGER_ADMIN_PROTOCOL_H_

#include <cstdint>

namespace manager::admin {

constexpr std::uint32_t kVerb = 0x20ad0001;       // "user.add"
constexpr std::uint32_t kArguments = 0x20ad0002;  // a JSON object; absent means {}
constexpr std::uint32_t kResult = 0x20ad0003;     // JSON

// The request was understood and is refused; the error's text says why.
constexpr std::uint32_t kErrRefused = 0x200;
// The database could not be written.
constexpr std::uint32_t kErrStore = 0x201;

}  // namespace manager::admin

#endif  // MANAGER_ADMIN_PROTOCOL_H_
