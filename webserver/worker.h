// One worker process: accepts connections on the shared sockets and serves them.

#ifndef WEBSERVER_WORKER_H_
#define WEBSERVER_WORKER_H_

#include <sys/types.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <vector>

#include "webserver/listeners.h"
#include "webserver/tls.h"
#include "webserver/worker_state.h"

namespace web {

// What a worker gets from its supervisor; all of it outlives the worker.
struct WorkerSetup {
  const Config& config;
  Listeners& listeners;  // the process's own copy, which the worker empties
  const Tls* tls;        // null when no listener has TLS
  SharedCounters& counters;
  unsigned part;     // of the counters
  pid_t supervisor;  // whose end is the worker's too
};

class Worker {
 public:
  Worker(const WorkerSetup& setup, AccessLog& log);
  ~Worker();

  // Serves until SIGTERM or SIGINT, then finishes what is in flight. Ends the process itself, with
  // status 0, when that takes longer than it may.
  void run(Servlet& servlet);

 private:
  struct Door;

  void acceptNext(Door& door);
  void acceptLater(Door& door, std::chrono::milliseconds pause);
  bool hasMoreThanOthers() const;
  void acceptOne(Door& door);
  void adopt(Door& door, int socket, std::uint32_t clientAddr);
  void sweep();
  void beginStop();
  void endWhenEmpty();

  const WorkerSetup setup_;
  WorkerState state_;
  std::vector<std::unique_ptr<Door>> doors_;
  boost::asio::signal_set signals_;
  boost::asio::steady_timer sweepTimer_;
  unsigned sweeps_ = 0;
  Clock::time_point stopDeadline_;
};

// Whether the workers can become the configured user. Throws ConfigError.
void checkUser(const Config& config);

// Becomes a worker in a process just forked: loads the module, becomes the configured user, serves.
// Returns the process's exit status.
int runWorker(const WorkerSetup& setup);

}  // namespace web

#endif  // WEBSERVER_WORKER_H_
