// The module's way to the hotspot manager, for one request.

#ifndef WEBSERVER_MANAGER_CONTEXT_H_
#define WEBSERVER_MANAGER_CONTEXT_H_

#include "host/context.h"
#include "webserver/waiting.h"
#include "webserver/worker_state.h"

namespace web {

class ManagerContext : public Context {
 public:
  ManagerContext(WorkerState& state, Waiting& waiting) : state_(state), waiting_(waiting) {}

  // As Context::sendRequest. When too many requests wait already, `waiting` notes that it was
  // refused, the manager is asked nothing, and the reply is an error.
  nv::message sendRequest(nv::message& request, unsigned timeoutMs) override;

 private:
  WorkerState& state_;
  Waiting& waiting_;
};

}  // namespace web

#endif  // WEBSERVER_MANAGER_CONTEXT_H_
