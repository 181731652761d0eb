// What the manager keeps, as plain values. Zero means "no limit" in every limit below; durations
// are in seconds, moments are seconds of the uptime clock unless the name says wall.

#ifndef MANAGER_RECORDS_H_
#define MANAGER_RECORDS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace manager {

// Traffic of a session: "in" is what came from the client.
struct Counters {
  std::uint64_t bytesIn = 0;
  std::uint64_t packetsIn = 0;
  std::uint64_t bytesOut = 0;
  std::uint64_t packetsOut = 0;

  bool operator==(const Counters&) const = default;
};

struct ByteLimits {
  std::uint64_t in = 0;
  std::uint64_t out = 0;
  std::uint64_t total = 0;

  bool operator==(const ByteLimits&) const = default;
};

// Rules that several accounts share. Limits hold for each session by itself.
struct Profile {
  std::string name;
  std::uint64_t sessionTimeSecs = 0;
  std::uint64_t idleTimeoutSecs = 0;
  ByteLimits limits;
  std::uint64_t sharedUsers = 0;  // sessions of one account at once
  std::uint64_t refreshSecs = 0;  // of the status page
  // Advertisements, shown in turn; none when there is no address or no interval.
  std::vector<std::string> advertUrls;
  std::uint64_t advertIntervalSecs = 0;
  std::uint64_t advertLookSecs = 0;  // from "due" to "blocked"; 0 = never blocked
};

// An account. Its allowances are used up over all of its sessions.
struct User {
  std::string name;
  std::string secret;  // the password, or its crypt(5) hash
  bool hashed = false;
  std::string profile;
  std::uint64_t allowedUptimeSecs = 0;
  ByteLimits allowed;
  std::uint64_t usedUptimeSecs = 0;  // by ended sessions
  std::uint64_t usedBytesIn = 0;
  std::uint64_t usedBytesOut = 0;
};

struct Session {
  std::uint32_t address = 0;  // 0x0a053202 is 10.5.50.2
  std::string mac;            // "00:1A:2B:3C:4D:5E", empty when unknown
  std::string account;        // of a User, or "trial"
  std::string domain;  // as given at login; the account's name then ends in "@" and the domain
  std::string profile;
  std::string loginBy;
  std::int64_t loginAt = 0;
  std::optional<std::int64_t> endAt;
  std::uint64_t idleTimeoutSecs = 0;
  std::int64_t lastActiveAt = 0;
  ByteLimits limits;
  Counters counters;
  std::uint32_t cookieId = 0;  // the cookie that this session was given, 0 = none
  std::optional<std::int64_t> advertDueAt;
  std::uint64_t advertsShown = 0;
  std::string originalDestination;  // "192.0.2.7:80" of an intercepted login, else empty
  std::string radiusAttributes;     // for the pages, encoded; from the authenticator

  bool operator==(const Session&) const = default;
};

// A browser that may log in again without a password.
struct Cookie {
  std::uint32_t id = 0;
  std::string account;
  std::string domain;
  std::string client;  // MAC address, or IP address where there is no MAC
  std::int64_t expiresWallSecs = 0;
};

// Accounts of this name are made by the manager itself.
inline constexpr const char* kTrialName = "trial";
// The profile of accounts that name none.
inline constexpr const char* kDefaultProfile = "default";

}  // namespace manager

#endif  // MANAGER_RECORDS_H_
