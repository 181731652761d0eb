#include "manager/local_users.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <memory>
#include <thread>
#include <utility>

#include "manager/fail_stop.h"
#include "manager/password.h"

namespace manager {

namespace {

Verdict refused(const Failure& failure) {
  Verdict verdict;
  verdict.failure = failure;
  return verdict;
}

Verdict refusedGuess(const Failure& failure) {
  Verdict verdict = refused(failure);
  verdict.wasGuess = true;
  return verdict;
}

std::size_t hashThreads() { return std::clamp(std::thread::hardware_concurrency() / 2, 1u, 4u); }

// An account that keeps the password itself; an unknown one takes the same time.
std::optional<Verdict> matchSecret(const Credentials& credentials,
                                   const std::optional<User>& user) {
  const User& account = user.value_or(User{});
  const bool byChap = looksLikeChap(credentials.password) &&
                      chapMatches(credentials.password, account.secret, credentials.challenges);
  const bool byPlain =
      credentials.plainAllowed && plainMatches(credentials.password, account.secret);
  if (!user || (!byChap && !byPlain)) return std::nullopt;
  Verdict verdict;
  verdict.account = *user;
  verdict.byChap = byChap;
  return verdict;
}

}  // namespace

struct LocalUsers::Check {
  Done done;
  std::string password;
  std::string hash;
  Verdict right;
  Verdict wrong;
  bool isRight = false;
};

LocalUsers::LocalUsers(boost::asio::io_context& loop, CommitQueue& queue, Store& store)
    : loop_(loop), queue_(queue), store_(store), workers_(hashThreads()) {
  // Makes its library ready, which is done once: should memory be missing for it then, no password
  // could be checked any more.
  chapAnswer(Challenge(1, '\0'), "");
}

LocalUsers::~LocalUsers() {
  workers_.stop();
  workers_.join();
}

std::optional<User> LocalUsers::account(const std::string& name) { return store_.findUser(name); }

void LocalUsers::check(const Credentials& credentials, std::function<void(Verdict)> done) {
  const bool mayBeChap = looksLikeChap(credentials.password);
  if (!credentials.plainAllowed && !mayBeChap) return done(refused(kFailChapMissing));
  if (!credentials.plainAllowed && credentials.challenges.empty()) {
    return done(refused(kFailChapStale));
  }
  const auto user = std::make_shared<std::optional<User>>();
  queue_.submit({[this, user, name = credentials.account] { *user = store_.findUser(name); },
                 [this, user, credentials, done = std::move(done)](const Outcome& outcome) {
                   if (outcome.failure) return done(refused(*outcome.failure));
                   checkAccount(credentials, *user, done);
                 }});
}

void LocalUsers::checkAccount(const Credentials& credentials, const std::optional<User>& user,
                              const Done& done) {
  if (!user || !user->hashed) {
    if (const auto verdict = matchSecret(credentials, user)) return done(*verdict);
  }
  if (credentials.plainAllowed) return checkHash(credentials, user, done);
  const bool isHashed = user && user->hashed;
  done(refusedGuess(isHashed ? kFailHashedChap : kFailInvalidUser));
}

void LocalUsers::checkHash(const Credentials& credentials, const std::optional<User>& user,
                           const Done& done) {
  if (waiting_ >= kMaxWaiting) return done(refused(kFailBusy));
  const bool isHashed = user && user->hashed;
  // Over HTTP the page's script answers the challenge where it can, which no hash can check.
  const bool isChap = !credentials.overHttps && !credentials.challenges.empty();
  // The worker needs no memory but the hash's own. What `done` holds is the loop thread's, and
  // stays here until that one takes it.
  const auto check = std::make_shared<Check>();
  check->done = done;
  check->password = credentials.password;
  check->hash = isHashed ? user->secret : kNobodysHash;
  if (isHashed) check->right.account = *user;
  check->wrong = refusedGuess(isHashed && isChap ? kFailHashedChap : kFailInvalidUser);
  boost::asio::post(workers_, [this, isHashed, check] {
    try {
      check->isRight = hashMatches(check->password, check->hash) && isHashed;
    } catch (const std::exception& error) {
      spdlog::error("a password cannot be checked: {}", reasonOf(error));
      check->wrong = refused(kFailInternal);
    }
    try {
      boost::asio::post(loop_, [this, check] { tell(*check); });
    } catch (const std::exception& error) {
      // Nobody could tell the client, who would not be let in any more.
      failStop(error);
    }
  });
  ++waiting_;
}

void LocalUsers::tell(Check& check) {
  --waiting_;
  const Done done = std::move(check.done);
  try {
    done(check.isRight ? check.right : check.wrong);
  } catch (const std::exception& error) {
    spdlog::error("a password was checked and its login not answered: {}", reasonOf(error));
  }
}

}  // namespace manager
