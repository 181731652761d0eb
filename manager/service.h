// The manager as a whole: its parts put together, from start to stop.

#ifndef MANAGER_SERVICE_H_
#define MANAGER_SERVICE_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include "manager/admin.h"
#include "manager/clerk.h"
#include "manager/clock.h"
#include "manager/commit_queue.h"
#include "manager/config.h"
#include "manager/ledger.h"
#include "manager/local_users.h"
#include "manager/neighbours.h"
#include "manager/peer_socket.h"
#include "manager/portal.h"
#include "manager/reported_counters.h"
#include "manager/store.h"
#include "manager/view.h"

namespace manager {

class Service {
 public:
  // Opens the database and the sockets. Throws std::exception with one line that says what is
  // wrong.
  explicit Service(const Config& config);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Serves until SIGTERM or SIGINT; then answers what it has been asked, makes everything durable
  // and returns. SIGHUP changes nothing, and the log says so. Ends the process (fail_stop.h) when
  // it cannot go on.
  void run();

 private:
  void awaitHangup();
  void scheduleSweep();
  void sweep();
  void stop();
  void awaitLastAnswers(int turnsLeft);

  boost::asio::io_context loop_{1};
  SystemClock clock_;
  Store store_;
  ReportedCounters enforcer_;
  Ledger ledger_;
  View view_;
  CommitQueue queue_;
  LocalUsers users_;
  Clerk clerk_;
  Neighbours neighbours_;
  Portal portal_;
  Admin admin_;
  boost::asio::signal_set signals_;
  boost::asio::signal_set hangup_;
  boost::asio::steady_timer timer_;
  PeerSocket portalSocket_;
  PeerSocket adminSocket_;
  bool sweepFailed_ = false;
  bool stopping_ = false;
};

}  // namespace manager

#endif  // MANAGER_SERVICE_H_
