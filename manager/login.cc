// The login command.

#include <utility>

#include "manager/address_text.h"
#include "manager/password.h"
#include "manager/portal.h"
#include "manager/portal_protocol.h"
#include "manager/random.h"
#include "manager/replies.h"
#include "manager/session_rules.h"

namespace manager {

namespace {

constexpr std::int64_t kTrialEverySecs = 86400;

// A longer name is nobody's, and is not sent back.
constexpr std::size_t kMaxEchoedName = 253;

}  // namespace

std::string Portal::Login::account() const { return domain.empty() ? user : user + "@" + domain; }

Portal::Login Portal::loginOf(const nv::message& request, const Client& client) const {
  Login login;
  login.client = client;
  login.user = request.get_string(portal::kUserName, "");
  login.password = request.get_string(portal::kPassword, "");
  login.domain = request.get_string(portal::kDomain, "");
  login.cookieId = request.get_u32(portal::kCookieId, 0);
  login.overHttps = request.get_bool(portal::kOverHttps, false);
  const std::vector<unsigned char> attributes = request.get_raw(portal::kRadiusAttributes, {});
  login.radiusAttributes.assign(attributes.begin(), attributes.end());
  if (request.size_u32(portal::kOriginalAddress)) {
    login.originalDestination = addressText(request.get_u32(portal::kOriginalAddress, 0)) + ":" +
                                std::to_string(request.get_u32(portal::kOriginalPort, 0));
  }
  return login;
}

void Portal::login(const Login& login, const Responder& respond) {
  if (login.account() == kTrialName) {
    return submitLogin(
        login, [this, login] { return loginTrial(login); }, respond);
  }
  const bool hasSession = ledger_.find(login.client.address, login.client.mac) != nullptr;
  if (login.entered() && !hasSession) return checkPassword(login, respond);
  submitLogin(
      login,
      [this, login] { return login.cookieId != 0 ? loginByCookie(login) : showLogin(login); },
      respond);
}

void Portal::submitLogin(const Login& login, std::function<nv::message()> attempt,
                         const Responder& respond) {
  Work work;
  work.run = [this, login, attempt = std::move(attempt)] {
    const Session* session = ledger_.find(login.client.address, login.client.mac);
    if (!session) return attempt();
    ledger_.touch(login.client.address);
    return loggedIn(*session, login.client);
  };
  work.failed = [this, login](const Failure& failure) { return loginRefused(login, failure); };
  work.respond = respond;
  batch_.submit(std::move(work));
}

void Portal::checkPassword(const Login& login, const Responder& respond) {
  if (!beingChecked_.insert(login.client.address).second) {
    return respond(loginRefused(login, kFailAuthInProgress));
  }
  Credentials credentials;
  credentials.account = login.account();
  credentials.password = login.password;
  if (looksLikeChap(login.password)) {
    credentials.challenges = challenges_.take(login.client.address, ledger_.now());
  }
  credentials.plainAllowed = login.overHttps || ledger_.settings().plainPasswd;
  credentials.clientAddress = login.client.address;
  credentials.clientMac = login.client.mac;
  credentials.radiusAttributes = login.radiusAttributes;
  const auto done = [this, login, respond](const Verdict& verdict) {
    beingChecked_.erase(login.client.address);
    submitLogin(
        login, [this, login, verdict] { return finishPassword(login, verdict); }, respond);
  };
  try {
    authenticator_.check(credentials, done);
  } catch (const StoreError&) {
    beingChecked_.erase(login.client.address);
    respond(loginRefused(login, kFailStore));
  }
}

nv::message Portal::finishPassword(const Login& login, const Verdict& verdict) {
  if (verdict.failure) return loginRefused(login, *verdict.failure);
  // The account may have changed while its password was being checked.
  const std::optional<User> account = authenticator_.account(verdict.account.name);
  if (!account || account->secret != verdict.account.secret) {
    return loginRefused(login, kFailInvalidUser);
  }
  Session session;
  session.domain = login.domain;
  session.radiusAttributes = verdict.radiusAttributes;
  session.loginBy = verdict.byChap ? "http-chap" : login.overHttps ? "https" : "http-plain";
  return open(login, session, *account, true);
}

nv::message Portal::loginByCookie(const Login& login) {
  const std::optional<Cookie> cookie = ledger_.store().findCookie(login.cookieId);
  if (!cookie || cookie->client != login.client.key() ||
      cookie->expiresWallSecs <= ledger_.wallNow()) {
    return showLogin(login);
  }
  const std::optional<User> account = authenticator_.account(cookie->account);
  if (!account) return showLogin(login);
  Session session;
  session.domain = cookie->domain;
  session.cookieId = cookie->id;
  session.loginBy = "cookie";
  return open(login, session, *account, false);
}

nv::message Portal::loginTrial(const Login& login) {
  if (!ledger_.settings().trial) return loginRefused(login, kFailInvalidUser);
  const std::string client = login.client.key();
  const std::optional<std::int64_t> last = ledger_.store().findTrial(client);
  const std::int64_t agoSecs = last ? ledger_.wallNow() - *last : kTrialEverySecs;
  if (agoSecs >= 0 && agoSecs < kTrialEverySecs) return loginRefused(login, kFailTrialUsed);
  User account;
  account.name = kTrialName;
  account.profile = kTrialName;
  Session session;
  session.loginBy = "trial";
  nv::message reply = open(login, session, account, false);
  if (!nv::isError(reply, nullptr, nullptr)) ledger_.store().putTrial(client, ledger_.wallNow());
  return reply;
}

nv::message Portal::open(const Login& login, Session session, const User& account,
                         bool giveCookie) {
  if (refusing_) return loginRefused(login, kFailShuttingDown);
  const Profile* profile = ledger_.findProfile(account.profile);
  if (!profile) return loginRefused(login, kFailNoProfile);
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
  if (!admitToAccount(session, *profile)) return loginRefused(login, kFailSessionLimit);
  switch (applyTerms(&session, *profile, account, used)) {
    case Allowance::kLeft:
      break;
    case Allowance::kNoTime:
      return loginRefused(login, kFailUptimeLimit);
    case Allowance::kNoTraffic:
      return loginRefused(login, kFailTrafficLimit);
  }
  if (giveCookie) session.cookieId = makeCookie(session, login.client);
  ledger_.open(session);
  return loggedIn(session, login.client);
}

bool Portal::admitToAccount(const Session& session, const Profile& profile) {
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

std::uint32_t Portal::makeCookie(const Session& session, const Client& client) {
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

nv::message Portal::loggedIn(const Session& session, const Client& client) {
  nv::message reply = statusOf(session, client, true);
  if (session.cookieId == 0) return reply;
  const std::optional<Cookie> cookie = ledger_.store().findCookie(session.cookieId);
  if (!cookie || cookie->expiresWallSecs <= ledger_.wallNow()) return reply;
  reply.insert_u32(portal::kCookieId, cookie->id);
  reply.insert_u32(portal::kCookieLifetime,
                   static_cast<std::uint32_t>(cookie->expiresWallSecs - ledger_.wallNow()));
  return reply;
}

nv::message Portal::showLogin(const Login& login) {
  nv::message reply;
  addHotspot(&reply, ledger_.settings(), login.client.mac);
  reply.insert_bool(portal::kLoggedIn, false);
  if (login.user.size() <= kMaxEchoedName) {
    reply.insert_string(portal::kUserName, login.user);
  }
  if (login.domain.size() <= kMaxEchoedName) reply.insert_string(portal::kDomain, login.domain);
  // Over HTTPS the password itself is sent.
  if (!login.overHttps) {
    reply.insert_string(portal::kChapChallenge,
                        challenges_.issue(login.client.address, ledger_.now()));
  }
  return reply;
}

nv::message Portal::loginRefused(const Login& login, const Failure& failure) {
  nv::message reply = showLogin(login);
  addFailure(&reply, failure);
  return reply;
}

}  // namespace manager
