// What the portal's commands read and change in the ledger.

#ifndef MANAGER_CLERK_H_
#define MANAGER_CLERK_H_

#include <atomic>
#include <cstdint>
#include <string>

#include "host/message.h"
#include "manager/authenticator.h"
#include "manager/ledger.h"
#include "manager/portal_request.h"

namespace manager {

// Storage thread only, each call within a CommitQueue's work: it gives the reply that may leave
// once the work is committed, and throws StoreError when the database fails. A reply that asks for
// a login holds no challenge yet.
class Clerk {
 public:
  // Both must outlive this object.
  Clerk(Ledger& ledger, Authenticator& authenticator)
      : ledger_(ledger), authenticator_(authenticator) {}

  nv::message logout(const Client& client, bool eraseCookie);
  nv::message set(const Client& client, const nv::message& request);
  nv::message advert(const Client& client);

  // Ways to log in. A client that has a session already is answered so, whatever it holds.
  nv::message loginChecked(const Login& login, const Verdict& verdict);
  nv::message loginByCookie(const Login& login);
  nv::message loginTrial(const Login& login);

  // From now on new sessions are refused; everything else goes on.
  void refuseLogins() { refusing_ = true; }

 private:
  nv::message tryChecked(const Login& login, const Verdict& verdict);
  nv::message tryCookie(const Login& login);
  nv::message tryTrial(const Login& login);
  template <class Attempt>
  nv::message unlessLoggedIn(const Login& login, Attempt attempt);
  nv::message open(const Login& login, Session session, const User& account, bool giveCookie);
  // False when the account has as many sessions as it may. Ends those of the same device.
  bool admitToAccount(const Session& session, const Profile& profile);
  nv::message loggedIn(const Session& session, const Client& client);
  std::uint32_t makeCookie(const Session& session, const Client& client);

  Ledger& ledger_;
  Authenticator& authenticator_;
  std::atomic<bool> refusing_ = false;  // set on the loop thread
};

}  // namespace manager

#endif  // MANAGER_CLERK_H_
