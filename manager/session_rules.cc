#include "manager/session_rules.h"

#include <algorithm>

namespace manager {

namespace {

// The nearer of two limits of which 0 is none.
std::uint64_t nearer(std::uint64_t a, std::uint64_t b) {
  if (a == 0) return b;
  return b == 0 ? a : std::min(a, b);
}

// False when an allowance is used up; else `*left` is what remains of it, 0 for no limit.
bool remaining(std::uint64_t allowed, std::uint64_t used, std::uint64_t* left) {
  if (allowed != 0 && used >= allowed) return false;
  *left = allowed == 0 ? 0 : allowed - used;
  return true;
}

bool reached(std::uint64_t value, std::uint64_t limit) { return limit != 0 && value >= limit; }

// Longer than any machine is up.
constexpr std::uint64_t kFarSecs = std::uint64_t{1} << 40;

bool advertises(const Profile& profile) {
  return !profile.advertUrls.empty() && profile.advertIntervalSecs != 0;
}

}  // namespace

const char* reasonText(EndReason reason) {
  switch (reason) {
    case EndReason::kLogout:
      return "logout";
    case EndReason::kSessionTime:
      return "session time";
    case EndReason::kIdle:
      return "idle time-out";
    case EndReason::kTraffic:
      return "traffic limit";
    case EndReason::kAdministrator:
      return "administrator";
    case EndReason::kAccountRemoved:
      return "account removed";
    case EndReason::kMoved:
      return "moved to another address";
    case EndReason::kOtherDevice:
      return "address used by another device";
    case EndReason::kClockLost:
      return "clock lost over a reboot";
  }
  return "";
}

std::optional<EndReason> overdue(const Session& session, std::int64_t nowSecs) {
  if (session.endAt && nowSecs >= *session.endAt) return EndReason::kSessionTime;
  const Counters& counters = session.counters;
  if (reached(counters.bytesIn, session.limits.in) ||
      reached(counters.bytesOut, session.limits.out) ||
      reached(counters.bytesIn + counters.bytesOut, session.limits.total)) {
    return EndReason::kTraffic;
  }
  const std::int64_t idleSecs = nowSecs - session.lastActiveAt;
  if (session.idleTimeoutSecs != 0 && idleSecs > 0 &&
      static_cast<std::uint64_t>(idleSecs) >= session.idleTimeoutSecs) {
    return EndReason::kIdle;
  }
  return std::nullopt;
}

bool isOtherDevice(const Session& session, const std::string& mac) {
  return !mac.empty() && !session.mac.empty() && mac != session.mac;
}

portal::ClientState clientState(const Session& session, const Profile* profile,
                                std::int64_t nowSecs) {
  if (!profile || !advertises(*profile) || !session.advertDueAt) return portal::kStateNormal;
  const std::int64_t waitedSecs = nowSecs - *session.advertDueAt;
  if (waitedSecs < 0) return portal::kStateNormal;
  if (profile->advertLookSecs != 0 &&
      static_cast<std::uint64_t>(waitedSecs) >= profile->advertLookSecs) {
    return portal::kStateBlocked;
  }
  return portal::kStateAdvertPending;
}

std::optional<std::int64_t> nextChange(const Session& session, const Profile* profile,
                                       std::int64_t nowSecs) {
  if (overdue(session, nowSecs)) return nowSecs;
  std::optional<std::int64_t> next = session.endAt;
  const auto consider = [&next, nowSecs](std::int64_t fromSecs, std::uint64_t afterSecs) {
    if (afterSecs > kFarSecs) return;
    const std::int64_t at = fromSecs + static_cast<std::int64_t>(afterSecs);
    if (at > nowSecs && (!next || at < *next)) next = at;
  };
  if (session.idleTimeoutSecs != 0) consider(session.lastActiveAt, session.idleTimeoutSecs);
  if (profile && advertises(*profile) && session.advertDueAt) {
    consider(*session.advertDueAt, 0);
    if (profile->advertLookSecs != 0) consider(*session.advertDueAt, profile->advertLookSecs);
  }
  return next;
}

Allowance applyTerms(Session* session, const Profile& profile, const User& account,
                     const Use& used) {
  std::uint64_t timeSecs = 0;
  ByteLimits left;
  if (!remaining(account.allowedUptimeSecs, account.usedUptimeSecs + used.uptimeSecs, &timeSecs)) {
    return Allowance::kNoTime;
  }
  const std::uint64_t bytesIn = account.usedBytesIn + used.bytesIn;
  const std::uint64_t bytesOut = account.usedBytesOut + used.bytesOut;
  if (!remaining(account.allowed.in, bytesIn, &left.in) ||
      !remaining(account.allowed.out, bytesOut, &left.out) ||
      !remaining(account.allowed.total, bytesIn + bytesOut, &left.total)) {
    return Allowance::kNoTraffic;
  }
  timeSecs = nearer(timeSecs, profile.sessionTimeSecs);
  session->endAt.reset();
  if (timeSecs != 0) session->endAt = session->loginAt + static_cast<std::int64_t>(timeSecs);
  session->idleTimeoutSecs = profile.idleTimeoutSecs;
  session->limits = {nearer(left.in, profile.limits.in), nearer(left.out, profile.limits.out),
                     nearer(left.total, profile.limits.total)};
  session->advertDueAt.reset();
  if (advertises(profile)) {
    session->advertDueAt = session->loginAt + static_cast<std::int64_t>(profile.advertIntervalSecs);
  }
  return Allowance::kLeft;
}

std::uint64_t lasted(const Session& session, std::int64_t nowSecs) {
  const std::int64_t end = session.endAt ? std::min(nowSecs, *session.endAt) : nowSecs;
  return end > session.loginAt ? static_cast<std::uint64_t>(end - session.loginAt) : 0;
}

std::uint64_t allowedIdleTimeout(std::uint64_t wantedSecs, const Profile* profile) {
  return profile ? nearer(wantedSecs, profile->idleTimeoutSecs) : wantedSecs;
}

}  // namespace manager
