#include "webserver/manager_context.h"

namespace web {
namespace {

// The field of a reply that names the page directory.
constexpr std::uint32_t kHtmlDir = 0x2000044d;

// An error that is not the manager's own does not say where the pages are; the guest is to see the
// error page all the same.
void addHtmlDir(const std::string& dir, nv::message* reply) {
  unsigned code = 0;
  if (dir.empty() || !nv::isError(*reply, &code, nullptr)) return;
  if (code != kErrManagerUnreachable && code != kErrManagerSilent) return;
  if (reply->size_field(kHtmlDir) == 0) reply->insert_string(kHtmlDir, dir);
}

}  // namespace

nv::message ManagerContext::sendRequest(nv::message& request, unsigned timeoutMs) {
  if (!waiting_.enter(state_.config.maxWaiting)) {
    nv::message refused;
    nv::setError(&refused, kErrManagerSilent, "too many requests wait for the hotspot manager");
    return refused;
  }
  nv::message reply =
      state_.manager.exchange(request, timeoutMs, [this] { return waiting_.stepAside(); });
  waiting_.leave();
  addHtmlDir(state_.config.htmlDir, &reply);
  return reply;
}

}  // namespace web
