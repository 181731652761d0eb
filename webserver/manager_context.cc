#include "webserver/manager_context.h"

#include <utility>

namespace web {
namespace {

// The fields of a reply that name the page directory, and the portal in its links.
constexpr std::uint32_t kHtmlDir = 0x2000044d;
constexpr std::uint32_t kDnsName = 0x2000044e;

// An error that is not the manager's own does not say where the pages are, and under which name the
// portal is reached; the guest is to see the error page all the same, with links that lead back.
void addPlaces(const Config& config, nv::message* reply) {
  unsigned code = 0;
  if (!nv::isError(*reply, &code, nullptr)) return;
  if (code != kErrManagerUnreachable && code != kErrManagerSilent) return;
  for (const auto& [field, value] :
       {std::pair(kHtmlDir, &config.htmlDir), std::pair(kDnsName, &config.dnsName)}) {
    if (!value->empty() && reply->size_field(field) == 0) reply->insert_string(field, *value);
  }
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
  addPlaces(state_.config, &reply);
  return reply;
}

}  // namespace web
