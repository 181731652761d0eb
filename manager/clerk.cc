#include "manager/clerk.h"

#include <string>

#include "manager/portal_protocol.h"
#include "manager/replies.h"
#include "manager/session_rules.h"

namespace manager {

nv::message Clerk::logout(const Client& client, bool eraseCookie) {
  const Session* found = ledger_.find(client.address, client.mac);
  if (!found) return refusedReply(ledger_, client, kFailNotLoggedIn);
  const Session session = *found;
  if (eraseCookie) {
    ledger_.store().removeCookie(session.cookieId);
    ledger_.store().removeCookies(session.account, client.key());
  }
  ledger_.end(client.address, EndReason::kLogout);
  return statusReply(ledger_, session, client, false);
}

nv::message Clerk::set(const Client& client, const nv::message& request) {
  const Session* found = ledger_.find(client.address, client.mac);
  if (!found) return refusedReply(ledger_, client, kFailNotLoggedIn);
  Session session = *found;
  session.lastActiveAt = ledger_.now();
  if (request.size_u32(portal::kIdleTimeout)) {
    session.idleTimeoutSecs = allowedIdleTimeout(request.get_u32(portal::kIdleTimeout, 0),
                                                 ledger_.findProfile(session.profile));
  }
  ledger_.update(session);
  return statusReply(ledger_, session, client, true);
}

nv::message Clerk::advert(const Client& client) {
  const Session* found = ledger_.find(client.address, client.mac);
  if (!found) return refusedReply(ledger_, client, kFailNotLoggedIn);
  Session session = *found;
  const Profile* profile = ledger_.findProfile(session.profile);
  if (clientState(session, profile, ledger_.now()) < portal::kStateAdvertPending) {
    return statusReply(ledger_, session, client, true);
  }
  // Asking for the address counts as looking at it: the next one is due an interval from now.
  const std::string address =
      profile->advertUrls[session.advertsShown % profile->advertUrls.size()];
  ++session.advertsShown;
  session.advertDueAt = ledger_.now() + static_cast<std::int64_t>(profile->advertIntervalSecs);
  ledger_.update(session);
  nv::message reply = statusReply(ledger_, session, client, true);
  reply.insert_string(portal::kAdvertAddress, address);
  return reply;
}

}  // namespace manager
