// Every command but login.

#include <spdlog/spdlog.h>

#include <utility>
#include <vector>

#include "manager/address_text.h"
#include "manager/portal.h"
#include "manager/portal_protocol.h"
#include "manager/replies.h"

namespace manager {

namespace {

// Clients with open login pages that are remembered.
constexpr std::size_t kMaxChallengeClients = 8192;

std::string refusal(const nv::message& request) {
  if (request.get_u32_array(portal::kTo, {}) !=
      std::vector<unsigned>{portal::kAddressHigh, portal::kAddressLow}) {
    return "message is not addressed to the hotspot manager";
  }
  if (!request.size_u32(portal::kCommand)) return "message holds no command";
  if (request.get_u32(portal::kClientAddress, 0) == 0) return "message names no client address";
  return {};
}

}  // namespace

Portal::Portal(Ledger& ledger, Batch& batch, Authenticator& authenticator, Neighbours& neighbours)
    : ledger_(ledger),
      batch_(batch),
      authenticator_(authenticator),
      neighbours_(neighbours),
      challenges_(kMaxChallengeClients) {}

std::string Portal::Client::key() const { return mac.empty() ? addressText(address) : mac; }

void Portal::receive(const nv::message& request, Responder respond) {
  if (const std::string why = refusal(request); !why.empty()) return respond(protocolError(why));
  const std::uint32_t command = request.get_u32(portal::kCommand, 0);
  const bool isLogin = command == portal::kLogin;
  Client client;
  client.address = request.get_u32(portal::kClientAddress, 0);
  // A login binds its session to the device, so it must not go by what was true a second ago.
  client.mac = neighbours_.find(client.address, isLogin);
  spdlog::debug("command {} of {} target={}", command, addressText(client.address),
                request.get_string(portal::kTargetDir, ""));
  const std::uint32_t scope = request.get_u32(portal::kScope, 0);
  switch (command) {
    case portal::kLogin:
      return login(loginOf(request, client), respond);
    case portal::kStatus: {
      const bool needsSession =
          !request.size_u32(portal::kScope) || (scope & portal::kScopeSession) != 0;
      return submit(
          client, [this, client, needsSession] { return get(client, needsSession); }, respond);
    }
    case portal::kGet: {
      const bool needsSession = (scope & portal::kScopeSession) != 0;
      return submit(
          client, [this, client, needsSession] { return get(client, needsSession); }, respond);
    }
    case portal::kAlogin:
      return submit(
          client, [this, client] { return get(client, true); }, respond);
    case portal::kLogout: {
      const bool erase = request.get_bool(portal::kEraseCookie, false);
      return submit(
          client, [this, client, erase] { return logout(client, erase); }, respond);
    }
    case portal::kSet:
      return submit(
          client, [this, client, request] { return set(client, request); }, respond);
    case portal::kAdvert:
      return submit(
          client, [this, client] { return advert(client); }, respond);
    default:
      return respond(protocolError("unknown command " + std::to_string(command)));
  }
}

void Portal::submit(const Client& client, std::function<nv::message()> run,
                    const Responder& respond) {
  batch_.submit({std::move(run),
                 [this, client](const Failure& failure) { return refused(client, failure); },
                 respond});
}

nv::message Portal::statusOf(const Session& session, const Client& client, bool loggedIn) {
  nv::message reply;
  addHotspot(&reply, ledger_.settings(), client.mac.empty() ? session.mac : client.mac);
  addSession(&reply, session, ledger_.findProfile(session.profile), ledger_.now(), loggedIn);
  return reply;
}

nv::message Portal::refused(const Client& client, const Failure& failure) {
  nv::message reply;
  if (const Session* session = ledger_.find(client.address, client.mac)) {
    reply = statusOf(*session, client, true);
  } else {
    addHotspot(&reply, ledger_.settings(), client.mac);
    reply.insert_bool(portal::kLoggedIn, false);
  }
  addFailure(&reply, failure);
  return reply;
}

nv::message Portal::get(const Client& client, bool needsSession) {
  const Session* session = ledger_.find(client.address, client.mac);
  if (session) {
    ledger_.touch(client.address);
    return statusOf(*session, client, true);
  }
  if (needsSession) return refused(client, kFailNotLoggedIn);
  nv::message reply;
  addHotspot(&reply, ledger_.settings(), client.mac);
  reply.insert_bool(portal::kLoggedIn, false);
  return reply;
}

nv::message Portal::logout(const Client& client, bool eraseCookie) {
  const Session* found = ledger_.find(client.address, client.mac);
  if (!found) return refused(client, kFailNotLoggedIn);
  const Session session = *found;
  if (eraseCookie) {
    ledger_.store().removeCookie(session.cookieId);
    ledger_.store().removeCookies(session.account, client.key());
  }
  ledger_.end(client.address, EndReason::kLogout);
  return statusOf(session, client, false);
}

nv::message Portal::set(const Client& client, const nv::message& request) {
  const Session* found = ledger_.find(client.address, client.mac);
  if (!found) return refused(client, kFailNotLoggedIn);
  Session session = *found;
  session.lastActiveAt = ledger_.now();
  if (request.size_u32(portal::kIdleTimeout)) {
    session.idleTimeoutSecs = allowedIdleTimeout(request.get_u32(portal::kIdleTimeout, 0),
                                                 ledger_.findProfile(session.profile));
  }
  ledger_.update(session);
  return statusOf(session, client, true);
}

nv::message Portal::advert(const Client& client) {
  const Session* found = ledger_.find(client.address, client.mac);
  if (!found) return refused(client, kFailNotLoggedIn);
  ledger_.touch(client.address);
  Session session = *found;
  const Profile* profile = ledger_.findProfile(session.profile);
  if (clientState(session, profile, ledger_.now()) < portal::kStateAdvertPending) {
    return statusOf(session, client, true);
  }
  // Asking for the address counts as looking at it: the next one is due an interval from now.
  const std::string address =
      profile->advertUrls[session.advertsShown % profile->advertUrls.size()];
  ++session.advertsShown;
  session.advertDueAt = ledger_.now() + static_cast<std::int64_t>(profile->advertIntervalSecs);
  ledger_.update(session);
  nv::message reply = statusOf(session, client, true);
  reply.insert_string(portal::kAdvertAddress, address);
  return reply;
}

}  // namespace manager
