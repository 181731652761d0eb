// The login command, up to where it needs the ledger (clerk_login.cc).

#include <spdlog/spdlog.h>

#include <memory>
#include <utility>

#include "manager/address_text.h"
#include "manager/password.h"
#include "manager/portal.h"
#include "manager/portal_protocol.h"
#include "manager/replies.h"

namespace manager {

void Portal::login(const Login& login, const Responder& respond) {
  if (login.account() == kTrialName) {
    return submitLogin(
        login, [this, login] { return clerk_.loginTrial(login); }, respond);
  }
  const bool hasSession = view_.findActive(login.client.address, login.client.mac) != nullptr;
  if (login.entered() && !hasSession) return checkPassword(login, respond);
  if (hasSession || login.cookieId != 0) {
    return submitLogin(
        login, [this, login] { return clerk_.loginByCookie(login); }, respond);
  }
  respondToLogin(login, loginPageReply(view_, login), respond);
}

void Portal::checkPassword(const Login& login, const Responder& respond) {
  if (!guesses_.allows(login.client.key(), view_.now()))
    return refuse(login, kFailTooManyGuesses, respond);
  if (!beingChecked_->insert(login.client.address).second) {
    return refuse(login, kFailAuthInProgress, respond);
  }
  // Until the last of the check is gone, with a word or without one.
  const std::shared_ptr<void> checking(
      nullptr, [checked = beingChecked_, address = login.client.address](void*) {
        checked->erase(address);
      });
  Credentials credentials;
  credentials.account = login.account();
  credentials.password = login.password;
  if (looksLikeChap(login.password)) {
    credentials.challenges = challenges_.take(login.client.address, view_.now());
  }
  credentials.overHttps = login.overHttps;
  credentials.plainAllowed = login.overHttps || view_.settings().plainPasswd;
  credentials.clientAddress = login.client.address;
  credentials.clientMac = login.client.mac;
  credentials.radiusAttributes = login.radiusAttributes;
  authenticator_.check(credentials, [this, login, respond, checking](const Verdict& verdict) {
    if (verdict.wasGuess) noteGuess(login, *verdict.failure);
    if (verdict.failure) return refuse(login, *verdict.failure, respond);
    submitLogin(
        login, [this, login, verdict] { return clerk_.loginChecked(login, verdict); }, respond);
  });
}

void Portal::noteGuess(const Login& login, const Failure& failure) {
  const std::string client = login.client.key();
  const std::string address = addressText(login.client.address);
  guesses_.count(client, view_.now());
  spdlog::info("login refused address={} mac={} user=\"{}\" reason=\"{}\"", address,
               login.client.mac, logText(login.account()), failure.text);
  if (!guesses_.allows(client, view_.now())) {
    spdlog::warn("too many wrong passwords: logins of {} {} are refused for a while", address,
                 login.client.mac);
  }
}

void Portal::submitLogin(const Login& login, Job job, const Responder& respond) {
  submit(
      std::move(job),
      [this, login](const Failure& failure) {
        // Whoever has a session keeps it, whatever cannot be looked up at the moment.
        const bool hasSession = view_.find(login.client.address, login.client.mac) != nullptr;
        return hasSession ? refusedReply(view_, login.client, failure)
                          : loginRefusedReply(view_, login, failure);
      },
      [this, login, respond](nv::message reply) {
        respondToLogin(login, std::move(reply), respond);
      });
}

void Portal::refuse(const Login& login, const Failure& failure, const Responder& respond) {
  respondToLogin(login, loginRefusedReply(view_, login, failure), respond);
}

void Portal::respondToLogin(const Login& login, nv::message reply, const Responder& respond) {
  // The next try needs a challenge; over HTTPS the password itself is sent.
  if (!reply.get_bool(portal::kLoggedIn, false) && !login.overHttps) {
    reply.insert_string(portal::kChapChallenge,
                        challenges_.issue(login.client.address, view_.now()));
  }
  respond(std::move(reply));
}

}  // namespace manager
