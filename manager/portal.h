// The commands of the portal's servlet.

#ifndef MANAGER_PORTAL_H_
#define MANAGER_PORTAL_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <set>

#include "host/message.h"
#include "manager/authenticator.h"
#include "manager/challenges.h"
#include "manager/clerk.h"
#include "manager/commit_queue.h"
#include "manager/failures.h"
#include "manager/guess_limit.h"
#include "manager/neighbours.h"
#include "manager/portal_request.h"
#include "manager/view.h"

namespace manager {

// Loop thread only. Everything given to it must outlive it. What changes nothing is answered from
// the view at once; everything else goes through the queue to the clerk and is answered behind its
// commit.
class Portal {
 public:
  using Responder = std::function<void(nv::message)>;

  // `guessesPerMinute`: wrong passwords that a client may try, 0 for any number.
  Portal(View& view, CommitQueue& queue, Clerk& clerk, Authenticator& authenticator,
         Neighbours& neighbours, std::uint32_t guessesPerMinute);

  // Answers one message, whatever its bytes are: calls `respond` once on the loop thread, within
  // this call or later.
  void receive(const nv::message& request, const Responder& respond);

  // The message will be received soon. Changes nothing.
  void expect(const nv::message& request) const;

  // The reply to a request that failed where nobody knew any more whose it was: its page needs the
  // hotspot's settings.
  nv::message failedReply() const;

 private:
  using Job = std::function<nv::message()>;

  // commands.cc
  void get(const Client& client, bool needsSession, const Responder& respond);
  // Has the queue run a job of the clerk's; `failed` gives the reply when that could not be done.
  void submit(Job job, std::function<nv::message(const Failure&)> failed, Responder respond);
  void submitCommand(const Client& client, Job job, const Responder& respond);

  // login.cc
  void login(const Login& login, const Responder& respond);
  void checkPassword(const Login& login, const Responder& respond);
  void noteGuess(const Login& login, const Failure& failure);
  void submitLogin(const Login& login, Job job, const Responder& respond);
  void refuse(const Login& login, const Failure& failure, const Responder& respond);
  void respondToLogin(const Login& login, nv::message reply, const Responder& respond);

  View& view_;
  CommitQueue& queue_;
  Clerk& clerk_;
  Authenticator& authenticator_;
  Neighbours& neighbours_;
  Challenges challenges_;
  GuessLimit guesses_;
  // Clients whose password is being checked. Shared with the checks, which may outlive this object.
  const std::shared_ptr<std::set<std::uint32_t>> beingChecked_ =
      std::make_shared<std::set<std::uint32_t>>();
};

}  // namespace manager

#endif  // MANAGER_PORTAL_H_
