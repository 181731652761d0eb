// Fields of the commands to the hotspot manager, and of the replies that the page handlers read
// themselves. The top byte of an id is the type of its value (host/message.h).

#ifndef COMMANDS_FIELDS_H_
#define COMMANDS_FIELDS_H_

#include <cstdint>

// Every command.
constexpr std::uint32_t kFieldManager = 0x88ff0001;     // address of the manager: 63, 13
constexpr std::uint32_t kFieldCommand = 0x08ff0007;     // Command
constexpr std::uint32_t kFieldClientAddr = 0x080003e9;  // IPv4 address of the client
constexpr std::uint32_t kFieldTargetDir = 0x2000044e;   // absent rather than empty

// Particular commands.
constexpr std::uint32_t kFieldScope = 0x08fe000c;        // what the command is about; the manager's
constexpr std::uint32_t kFieldUser = 0x20000001;         // login
constexpr std::uint32_t kFieldPassword = 0x200003eb;     // login
constexpr std::uint32_t kFieldDomain = 0x20000008;       // login
constexpr std::uint32_t kFieldIsSsl = 0x000003f1;        // login
constexpr std::uint32_t kFieldCookieId = 0x080003ec;     // login, and its reply
constexpr std::uint32_t kFieldOrigDstAddr = 0x080003ed;  // login, get
constexpr std::uint32_t kFieldOrigDstPort = 0x080003ee;  // login, get
constexpr std::uint32_t kFieldRadius = 0x30000439;       // login
constexpr std::uint32_t kFieldEraseCookie = 0x00000425;  // logout
constexpr std::uint32_t kFieldIdleTimeout = 0x0800000e;  // set

// Replies.
constexpr std::uint32_t kFieldCookieSecs = 0x0800041c;  // lifetime of the login cookie, in seconds
constexpr std::uint32_t kFieldChap = 0x2000041b;        // CHAP identifier and challenge
constexpr std::uint32_t kFieldAdvertUrl = 0x20000411;   // advertisement to show

enum Command : std::uint32_t {
  kCmdStatus = 1,
  kCmdLogin = 2,
  kCmdLogout = 3,
  kCmdSet = 8,
  kCmdGet = 9,
  kCmdALogin = 10,
  kCmdAdvert = 11,
};

// Values of kFieldScope.
constexpr std::uint32_t kScopeSession = 6;  // status, logout
constexpr std::uint32_t kScopeClient = 4;   // get, alogin, advert

// How long a command may take, in milliseconds. A login may have to ask a RADIUS server.
constexpr unsigned kCommandTimeoutMs = 1000;
constexpr unsigned kLoginTimeoutMs = 18 * kCommandTimeoutMs;

#endif  // COMMANDS_FIELDS_H_
