// When a session ends, what it may use, and which state its client is in. Pure functions of records
// and the uptime clock.

#ifndef MANAGER_SESSION_RULES_H_
#define MANAGER_SESSION_RULES_H_

#include <cstdint>
#include <optional>
#include <string>

#include "manager/portal_protocol.h"
#include "manager/records.h"

namespace manager {

enum class EndReason {
  kLogout,
  kSessionTime,
  kIdle,
  kTraffic,
  kAdministrator,
  kAccountRemoved,
  kMoved,        // the same device logged in from another address
  kOtherDevice,  // another device has the address now
  kClockLost,    // nobody can tell how long the machine was off
};

// "logout", "session time", ...
const char* reasonText(EndReason reason);

// Why the session is over at that moment; nothing while it is not. A session at its limit is over.
std::optional<EndReason> overdue(const Session& session, std::int64_t nowSecs);

// True when both hardware addresses are known and they differ.
bool isOtherDevice(const Session& session, const std::string& mac);

// `profile` may be null: no advertisements.
portal::ClientState clientState(const Session& session, const Profile* profile,
                                std::int64_t nowSecs);

// The next moment at which the session is over or its client's state becomes another one, if
// nothing is counted, changed or active until then; not after the present one where it is over
// already. Nothing when there is no such moment.
std::optional<std::int64_t> nextChange(const Session& session, const Profile* profile,
                                       std::int64_t nowSecs);

// What is left of an allowance.
enum class Allowance { kLeft, kNoTime, kNoTraffic };

// What an account's ended and running sessions have used.
struct Use {
  std::uint64_t uptimeSecs = 0;
  std::uint64_t bytesIn = 0;
  std::uint64_t bytesOut = 0;
};

// Sets the end, the idle time-out, the byte limits and the first advertisement of a session that
// begins at session->loginAt: for each the nearer of the profile's limit and what is left of the
// account's allowance. Where nothing is left the session must not begin; it is unchanged then.
Allowance applyTerms(Session* session, const Profile& profile, const User& account,
                     const Use& used);

// Seconds the session has lasted.
std::uint64_t lasted(const Session& session, std::int64_t nowSecs);

// The idle time-out a client gets when it asks for `wanted`: its own wish, but no longer than the
// profile's where the profile has one (0, never, is the longest).
std::uint64_t allowedIdleTimeout(std::uint64_t wantedSecs, const Profile* profile);

}  // namespace manager

#endif  // MANAGER_SESSION_RULES_H_
