#include "webserver/manager_context.h"

namespace web {

nv::message ManagerContext::sendRequest(nv::message& request, unsigned timeoutMs) {
  if (!waiting_.enter(state_.config.maxWaiting)) {
    nv::message refused;
    nv::setError(&refused, kErrManagerSilent, "too many requests wait for the hotspot manager");
    return refused;
  }
  nv::message reply =
      state_.manager.exchange(request, timeoutMs, [this] { return waiting_.stepAside(); });
  waiting_.leave();
  return reply;
}

}  // namespace web
