// What the connections of a worker share.

#ifndef WEBSERVER_WORKER_STATE_H_
#define WEBSERVER_WORKER_STATE_H_

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "host/servlet.h"
#include "webserver/access_log.h"
#include "webserver/config.h"
#include "webserver/loop.h"
#include "webserver/manager_pool.h"
#include "webserver/own_names.h"
#include "webserver/shared_counters.h"

namespace web {

class Connection;
struct Job;

// Who may touch what: what stands above `own` any thread, the rest the thread that leads the loop.
struct WorkerState {
  WorkerState(const Config& settings, SharedCounters& shared, unsigned ownPart,
              AccessLog& accessLog);
  ~WorkerState();

  const Config& config;
  SharedCounters& counters;
  const unsigned part;  // of the counters
  AccessLog& log;
  Loop loop;
  ManagerPool manager;
  Servlet* servlet = nullptr;
  std::atomic<bool> stopping{false};  // answers say that the connection ends, and it does

  OwnNames own;
  std::list<std::shared_ptr<Connection>> connections;
  std::vector<std::unique_ptr<Job>> spareJobs;
};

}  // namespace web

#endif  // WEBSERVER_WORKER_STATE_H_
