#include "manager/local_users.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <memory>
#include <thread>
#include <utility>

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

LocalUsers::LocalUsers(boost::asio::io_context& loop, CommitQueue& queue, Store& store)
    : loop_(loop), queue_(queue), store_(store), workers_(hashThreads()) {}

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
  ++waiting_;
  const bool isHashed = user && user->hashed;
  // Over HTTP the page's script answers the challenge where it can, which no hash can check.
  const bool isChap = !credentials.overHttps && !credentials.challenges.empty();
  boost::asio::post(workers_, [this, user, isHashed, isChap, done = Done(done),
                               password = credentials.password]() mutable {
    const bool matches = hashMatches(password, isHashed ? user->secret : kNobodysHash);
    Verdict verdict;
    if (isHashed && matches) {
      verdict.account = *user;
    } else {
      verdict = refusedGuess(isHashed && isChap ? kFailHashedChap : kFailInvalidUser);
    }
    // The last reference to what `done` holds must go on the loop thread.
    boost::asio::post(loop_, [this, verdict, done = std::move(done)] {
      --waiting_;
      done(verdict);
    });
  });
}

}  // namespace manager
