// The authenticator for the accounts of the manager's own store.

#ifndef MANAGER_LOCAL_USERS_H_
#define MANAGER_LOCAL_USERS_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>

#include "manager/authenticator.h"
#include "manager/commit_queue.h"
#include "manager/store.h"

namespace manager {

// Looks the account up on the storage thread and checks a hash on threads of its own, half as many
// as there are processors and four at most; beyond kMaxWaiting of them the login is refused.
//
// Neither the answer nor its time tells an unknown name from a wrong password: a plain-text
// password that is refused has cost a hash, whether the account keeps a hash, keeps the password
// itself, or does not exist. RADIUS attributes mean nothing to local accounts and are not looked
// at.
class LocalUsers : public Authenticator {
 public:
  static constexpr std::size_t kMaxWaiting = 64;

  // `loop` is where `done` is called. All three must outlive this object, and the queue be finished
  // before its end.
  LocalUsers(boost::asio::io_context& loop, CommitQueue& queue, Store& store);
  // Waits for the checks that are running; what waits behind them is dropped.
  ~LocalUsers() override;

  void check(const Credentials& credentials, std::function<void(Verdict)> done) override;
  std::optional<User> account(const std::string& name) override;

 private:
  using Done = std::function<void(Verdict)>;

  void checkAccount(const Credentials& credentials, const std::optional<User>& user,
                    const Done& done);
  void checkHash(const Credentials& credentials, const std::optional<User>& user, const Done& done);
  // Loop thread.
  struct Check;
  void tell(Check& check);

  boost::asio::io_context& loop_;
  CommitQueue& queue_;
  Store& store_;
  std::size_t waiting_ = 0;
  boost::asio::thread_pool workers_;
};

}  // namespace manager

#endif  // MANAGER_LOCAL_USERS_H_
