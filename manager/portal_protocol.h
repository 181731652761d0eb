// Fields, commands and error codes of the conversation with the portal's servlet. All numbers are
// the protocol's; docs/manager-protocol.md says which command carries what.

#ifndef MANAGER_PORTAL_PROTOCOL_H_
#define MANAGER_PORTAL_PROTOCOL_H_

#include <cstdint>

namespace manager::portal {

enum Command : std::uint32_t {
  kStatus = 1,
  kLogin = 2,
  kLogout = 3,
  kSet = 8,
  kGet = 9,
  kAlogin = 10,
  kAdvert = 11,
};

// Every message for the manager is addressed to these two numbers.
constexpr std::uint32_t kAddressHigh = 63;
constexpr std::uint32_t kAddressLow = 13;

// Requests.
constexpr std::uint32_t kTo = 0x88ff0001;
constexpr std::uint32_t kCommand = 0x08ff0007;
constexpr std::uint32_t kRequestNumber = 0x08ff0006;  // echoed in the reply when it is there
constexpr std::uint32_t kClientAddress = 0x080003e9;
constexpr std::uint32_t kTargetDir = 0x2000044e;
constexpr std::uint32_t kScope = 0x08fe000c;
constexpr std::uint32_t kPassword = 0x200003eb;
constexpr std::uint32_t kOverHttps = 0x000003f1;
constexpr std::uint32_t kOriginalAddress = 0x080003ed;
constexpr std::uint32_t kOriginalPort = 0x080003ee;
constexpr std::uint32_t kEraseCookie = 0x00000425;

// The scope bit that makes a command fail where the client has no session.
constexpr std::uint32_t kScopeSession = 2;

// Requests and replies.
constexpr std::uint32_t kUserName = 0x20000001;
constexpr std::uint32_t kDomain = 0x20000008;
constexpr std::uint32_t kCookieId = 0x080003ec;
constexpr std::uint32_t kIdleTimeout = 0x0800000e;
constexpr std::uint32_t kRadiusAttributes = 0x30000439;

// Replies: the hotspot.
constexpr std::uint32_t kSslLogin = 0x00000452;
constexpr std::uint32_t kOptionBits = 0x08000450;
constexpr std::uint32_t kHtmlDir = 0x2000044d;
constexpr std::uint32_t kDnsName = 0x2000044e;
constexpr std::uint32_t kServerAddress = 0x0800044f;
constexpr std::uint32_t kServerName = 0x20000455;
constexpr std::uint32_t kInterfaceName = 0x20000456;
constexpr std::uint32_t kLocationId = 0x20000457;
constexpr std::uint32_t kLocationName = 0x20000458;

constexpr std::uint32_t kOptionPlainPasswd = 0x10;
constexpr std::uint32_t kOptionTrial = 0x20;

// Replies: the client and its session.
constexpr std::uint32_t kLoggedIn = 0x00000451;
constexpr std::uint32_t kMac = 0x3000000b;
constexpr std::uint32_t kClientState = 0x08000011;
constexpr std::uint32_t kLoginTime = 0x08000003;
constexpr std::uint32_t kSessionEnd = 0x08000004;
constexpr std::uint32_t kRefresh = 0x08000453;
constexpr std::uint32_t kLoginBy = 0x20000013;
constexpr std::uint32_t kCookieLifetime = 0x0800041c;
constexpr std::uint32_t kChapChallenge = 0x2000041b;
constexpr std::uint32_t kAdvertAddress = 0x20000411;
constexpr std::uint32_t kPageMessage = 0x20000454;
constexpr std::uint32_t kBytesIn = 0x10000015;
constexpr std::uint32_t kPacketsIn = 0x10000016;
constexpr std::uint32_t kBytesOut = 0x10000017;
constexpr std::uint32_t kPacketsOut = 0x10000018;
constexpr std::uint32_t kLimitBytesIn = 0x1000001f;
constexpr std::uint32_t kLimitBytesOut = 0x10000020;
constexpr std::uint32_t kLimitBytesTotal = 0x10000021;

enum ClientState : std::uint32_t {
  kStateNone = 0,
  kStateNormal = 1,
  kStateAdvertPending = 2,
  kStateBlocked = 3,
};

enum ErrorCode : std::uint32_t {
  kErrInternal = 0x1,
  kErrConfig = 0x2,
  kErrNotLoggedIn = 0x3,
  kErrShuttingDown = 0x5,
  kErrSessionLimit = 0x6,
  kErrChapMissing = 0x9,
  kErrInvalidUser = 0xa,
  kErrUptimeLimit = 0xc,
  kErrTrafficLimit = 0xd,
  kErrAuthInProgress = 0xf,
};

}  // namespace manager::portal

#endif  // MANAGER_PORTAL_PROTOCOL_H_
