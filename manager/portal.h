// The commands of the portal's servlet.

#ifndef MANAGER_PORTAL_H_
#define MANAGER_PORTAL_H_

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "host/message.h"
#include "manager/authenticator.h"
#include "manager/batch.h"
#include "manager/challenges.h"
#include "manager/failures.h"
#include "manager/ledger.h"
#include "manager/neighbours.h"

namespace manager {

// Loop thread only. Everything given to it must outlive it.
class Portal {
 public:
  using Responder = std::function<void(const nv::message&)>;

  Portal(Ledger& ledger, Batch& batch, Authenticator& authenticator, Neighbours& neighbours);

  // Answers one message, whatever its bytes are: calls `respond` once on the loop thread, later
  // than this call unless the message is refused at once.
  void receive(const nv::message& request, Responder respond);

  // From now on logins are refused; everything else goes on.
  void refuseLogins() { refusing_ = true; }

 private:
  // Who asks.
  struct Client {
    std::uint32_t address = 0;
    std::string mac;

    // What identifies the client over time: the MAC address where there is one.
    std::string key() const;
  };

  // A login command's fields.
  struct Login {
    Client client;
    std::string user;
    std::string password;
    std::string domain;
    std::string originalDestination;
    std::string radiusAttributes;
    std::uint32_t cookieId = 0;
    bool overHttps = false;

    std::string account() const;
    bool entered() const { return !user.empty() || !password.empty(); }
  };

  // commands.cc
  nv::message get(const Client& client, bool needsSession);
  nv::message logout(const Client& client, bool eraseCookie);
  nv::message set(const Client& client, const nv::message& request);
  nv::message advert(const Client& client);
  nv::message statusOf(const Session& session, const Client& client, bool loggedIn);
  nv::message refused(const Client& client, const Failure& failure);
  void submit(const Client& client, std::function<nv::message()> run, const Responder& respond);

  // login.cc
  Login loginOf(const nv::message& request, const Client& client) const;
  void login(const Login& login, const Responder& respond);
  void submitLogin(const Login& login, std::function<nv::message()> attempt,
                   const Responder& respond);
  void checkPassword(const Login& login, const Responder& respond);
  nv::message showLogin(const Login& login);
  nv::message finishPassword(const Login& login, const Verdict& verdict);
  nv::message loginByCookie(const Login& login);
  nv::message loginTrial(const Login& login);
  nv::message open(const Login& login, Session session, const User& account, bool giveCookie);
  // False when the account has as many sessions as it may. Ends those of the same device.
  bool admitToAccount(const Session& session, const Profile& profile);
  nv::message loginRefused(const Login& login, const Failure& failure);
  nv::message loggedIn(const Session& session, const Client& client);
  std::uint32_t makeCookie(const Session& session, const Client& client);

  Ledger& ledger_;
  Batch& batch_;
  Authenticator& authenticator_;
  Neighbours& neighbours_;
  Challenges challenges_;
  std::set<std::uint32_t> beingChecked_;  // clients whose password is being checked
  bool refusing_ = false;
};

}  // namespace manager

#endif  // MANAGER_PORTAL_H_
