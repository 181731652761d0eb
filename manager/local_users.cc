#include "manager/local_users.h"

#include <boost/asio/post.hpp>
#include <utility>

#include "manager/password.h"

namespace manager {

namespace {

Verdict refused(const Failure& failure) {
  Verdict verdict;
  verdict.failure = failure;
  return verdict;
}

}  // namespace

LocalUsers::LocalUsers(boost::asio::io_context& loop, Store& store) : loop_(loop), store_(store) {}

LocalUsers::~LocalUsers() {
  worker_.stop();
  worker_.join();
}

void LocalUsers::check(const Credentials& credentials, std::function<void(Verdict)> done) {
  const bool mayBeChap = looksLikeChap(credentials.password);
  if (!credentials.plainAllowed && !mayBeChap) return done(refused(kFailChapMissing));
  if (!credentials.plainAllowed && credentials.challenges.empty()) {
    return done(refused(kFailChapStale));
  }
  const std::optional<User> user = store_.findUser(credentials.account);
  if (!user) return done(refused(kFailInvalidUser));
  if (!user->hashed) return done(checkPlain(credentials, *user));
  if (!credentials.plainAllowed) return done(refused(kFailHashedChap));
  checkHash(credentials.password, *user, std::move(done));
}

std::optional<User> LocalUsers::account(const std::string& name) { return store_.findUser(name); }

Verdict LocalUsers::checkPlain(const Credentials& credentials, const User& user) const {
  Verdict verdict;
  verdict.account = user;
  if (looksLikeChap(credentials.password) &&
      chapMatches(credentials.password, user.secret, credentials.challenges)) {
    verdict.byChap = true;
    return verdict;
  }
  if (credentials.plainAllowed && plainMatches(credentials.password, user.secret)) return verdict;
  return refused(kFailInvalidUser);
}

void LocalUsers::checkHash(const std::string& password, const User& user,
                           std::function<void(Verdict)> done) {
  if (waiting_ >= kMaxWaiting) return done(refused(kFailBusy));
  ++waiting_;
  boost::asio::post(worker_, [this, password, user = user, done = std::move(done)]() mutable {
    const bool right = hashMatches(password, user.secret);
    boost::asio::post(loop_, [this, right, user = std::move(user), done = std::move(done)] {
      --waiting_;
      Verdict verdict = right ? Verdict{} : refused(kFailInvalidUser);
      verdict.account = user;
      done(std::move(verdict));
    });
  });
}

}  // namespace manager
