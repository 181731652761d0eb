// The authenticator for the accounts of the manager's own store.

#ifndef MANAGER_LOCAL_USERS_H_
#define MANAGER_LOCAL_USERS_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>

#include "manager/authenticator.h"
#include "manager/store.h"

namespace manager {

// A password kept in plain text is checked at once. One kept as a hash is checked on a thread of
// this object's own, one after the other; beyond kMaxWaiting of them the login is refused. RADIUS
// attributes mean nothing to local accounts and are not looked at.
class LocalUsers : public Authenticator {
 public:
  static constexpr std::size_t kMaxWaiting = 64;

  // `loop` is where `done` is called. Both must outlive this object.
  LocalUsers(boost::asio::io_context& loop, Store& store);
  // Waits for the check that is running; what waits behind it is dropped.
  ~LocalUsers() override;

  void check(const Credentials& credentials, std::function<void(Verdict)> done) override;
  std::optional<User> account(const std::string& name) override;

 private:
  Verdict checkPlain(const Credentials& credentials, const User& user) const;
  void checkHash(const std::string& password, const User& user, std::function<void(Verdict)> done);

  boost::asio::io_context& loop_;
  Store& store_;
  boost::asio::thread_pool worker_{1};
  std::size_t waiting_ = 0;
};

}  // namespace manager

#endif  // MANAGER_LOCAL_USERS_H_
