// Logins.

#include <utility>

#include "manager/clerk.h"
#include "manager/portal_protocol.h"
#include "manager/random.h"
#include "manager/replies.h"
#include "manager/session_rules.h"

namespace manager {

namespace {

constexpr std::int64_t kTrialEverySecs = 86400;

}  // namespace

template <class Attempt>
nv::message Clerk::unlessLoggedIn(const Login& login, Attempt attempt) {
  const Session* session = ledger_.find(login.client.address, login.client.mac);
  return session ? loggedIn(*session, login.client) : attempt();
}

nv::message Clerk::loginChecked(const Login& login, const Verdict& verdict) {
  return unlessLoggedIn(login, [&] { return tryChecked(login, verdict); });
}

nv::message Clerk::loginByCookie(const Login& login) {
  return unlessLoggedIn(login, [&] { return tryCookie(login); });
}

nv::message Clerk::loginTrial(const Login& login) {
  return unlessLoggedIn(login, [&] { return tryTrial(login); });
}

nv::message Clerk::tryChecked(const Login& login, const Verdict& verdict) {
  if (verdict.failure) return loginRefusedReply(ledger_, login, *verdict.failure);
  // The account may have changed while its password was being checked.
  const std::optional<User> account = authenticator_.account(verdict.account.name);
  if (!account || account->secret != verdict.account.secret) {
    return loginRefusedReply(ledger_, login, kFailInvalidUser);
  }
  Session session;
  session.domain = login.domain;
  session.radiusAttributes = verdict.radiusAttributes;
  session.loginBy = verdict.byChap ? "http-chap" : login.overHttps ? "https" : "http-plain";
  return open(login, session, *account, true);
}

nv::message Clerk::tryCookie(const Login& login) {
  const std::optional<Cookie> cookie = ledger_.store().findCookie(login.cookieId);
  if (!cookie || cookie->client != login.client.key() ||
      cookie->expiresWallSecs <= ledger_.wallNow()) {
    return loginPageReply(ledger_, login);
  }
  const std::optional<User> account = authenticator_.account(cookie->account);
  if (!account) return loginPageReply(ledger_, login);
  Session session;
  session.domain = cookie->domain;
  session.cookieId = cookie->id;
  session.loginBy = "cookie";
  return open(login, session, *account, false);
}

nv::message Clerk::tryTrial(const Login& login) {
  if (!ledger_.settings().trial) return loginRefusedReply(ledger_, login, kFailInvalidUser);
  const std::string client = login.client.key();
  const std::optional<std::int64_t> last = ledger_.store().findTrial(client);
  const std::int64_t agoSecs = last ? ledger_.wallNow() - *last : kTrialEverySecs;
  if (agoSecs >= 0 && agoSecs < kTrialEverySecs)
    return loginRefusedReply(ledger_, login, kFailTrialUsed);
  User account;
  account.name = kTrialName;
  account.profile = kTrialName;
  Session session;
  session.loginBy = "trial";
  nv::message reply = open(login, session, account, false);
  if (!nv::isError(reply, nullptr, nullptr)) ledger_.store().putTrial(client, ledger_.wallNow());
  return reply;
}

nv::message Clerk::open(const Login& login, Session session, const User& account, bool giveCookie) {
  if (refusing_) return loginRefusedReply(ledger_, login, kFailShuttingDown);
  if (ledger_.full()) return loginRefusedReply(ledger_, login, kFailFull);
  const Profile* profile = ledger_.findProfile(account.profile);
  if (!profile) return loginRefusedReply(ledger_, login, kFailNoProfile);
  session.address = login.client.address;
  session.mac = login.client.mac;
  session.account = account.name;
  session.profile = account.profile;
  session.originalDestination = login.originalDestination;
  session.loginAt = ledger_.now();
  session.lastActiveAt = ledger_.now();

  // Only an account with allowances needs its running sessions added up.
  const bool isLimited = account.allowedUptimeSecs != 0 || account.allowed != ByteLimits{};
  const Use used = isLimited ? ledger_.useOfRunning(account.name) : Use{};
  if (!admitToAccount(session, *profile))
    return loginRefusedReply(ledger_, login, kFailSessionLimit);
  switch (applyTerms(&session, *profile, account, used)) {
    case Allowance::kLeft:
      break;
    case Allowance::kNoTime:
      return loginRefusedReply(ledger_, login, kFailUptimeLimit);
    case Allowance::kNoTraffic:
      return loginRefusedReply(ledger_, login, kFailTrafficLimit);
  }
  if (giveCookie) session.cookieId = makeCookie(session, login.client);
  ledger_.open(session);
  return loggedIn(session, login.client);
}

bool Clerk::admitToAccount(const Session& session, const Profile& profile) {
  // Trials may be many, come once a day for each device, and share one name: there is nothing to
  // look for.
  if (session.account == kTrialName && profile.sharedUsers == 0) return true;
  std::uint64_t running = 0;
  for (const std::uint32_t address : ledger_.sessions().addressesOf(session.account)) {
    if (address == session.address) continue;
    const Session* other = ledger_.sessions().find(address);
    if (!session.mac.empty() && other->mac == session.mac) {
      ledger_.end(address, EndReason::kMoved);  // a new lease: the same device
    } else if (!overdue(*other, ledger_.now())) {
      ++running;
    }
  }
  return profile.sharedUsers == 0 || running < profile.sharedUsers;
}

std::uint32_t Clerk::makeCookie(const Session& session, const Client& client) {
  const std::uint64_t lifetimeSecs = ledger_.settings().cookieLifetimeSecs;
  if (lifetimeSecs == 0) return 0;
  // One for each account and client: the newest login has it.
  ledger_.store().removeCookies(session.account, client.key());
  Cookie cookie;
  cookie.account = session.account;
  cookie.domain = session.domain;
  cookie.client = client.key();
  cookie.expiresWallSecs = ledger_.wallNow() + static_cast<std::int64_t>(lifetimeSecs);
  do {
    cookie.id = randomNonZero();
  } while (!ledger_.store().addCookie(cookie));
  return cookie.id;
}

nv::message Clerk::loggedIn(const Session& session, const Client& client) {
  nv::message reply = statusReply(ledger_, session, client, true);
  if (session.cookieId == 0) return reply;
  const std::optional<Cookie> cookie = ledger_.store().findCookie(session.cookieId);
  if (!cookie || cookie->expiresWallSecs <= ledger_.wallNow()) return reply;
  reply.insert_u32(portal::kCookieId, cookie->id);
  reply.insert_u32(portal::kCookieLifetime,
                   static_cast<std::uint32_t>(cookie->expiresWallSecs - ledger_.wallNow()));
  return reply;
}

}  // namespace manager
