// Every command but login.

#include <spdlog/spdlog.h>

#include <memory>
#include <utility>
#include <vector>

#include "manager/address_text.h"
#include "manager/portal.h"
#include "manager/portal_protocol.h"
#include "manager/replies.h"

namespace manager {

namespace {

// Clients with open login pages, and clients with wrong passwords, that are remembered.
constexpr std::size_t kMaxChallengeClients = 8192;
constexpr std::size_t kMaxGuessingClients = 8192;

std::string refusal(const nv::message& request, std::uint32_t address) {
  static const std::vector<unsigned> kHere{portal::kAddressHigh, portal::kAddressLow};
  if (request.get_u32_array(portal::kTo, {}) != kHere) {
    return "message is not addressed to the hotspot manager";
  }
  if (!request.size_u32(portal::kCommand)) return "message holds no command";
  if (address == 0) return "message names no client address";
  return {};
}

// A login that presents something binds its session to the device, so it must not go by what was
// true a second ago; a look at the login page may.
bool mayBind(const nv::message& request, std::uint32_t command) {
  return command == portal::kLogin && (!request.get_string(portal::kUserName, "").empty() ||
                                       request.get_u32(portal::kCookieId, 0) != 0);
}

}  // namespace

Portal::Portal(View& view, CommitQueue& queue, Clerk& clerk, Authenticator& authenticator,
               Neighbours& neighbours, std::uint32_t guessesPerMinute)
    : view_(view),
      queue_(queue),
      clerk_(clerk),
      authenticator_(authenticator),
      neighbours_(neighbours),
      challenges_(kMaxChallengeClients),
      guesses_(guessesPerMinute, kMaxGuessingClients) {}

void Portal::expect(const nv::message& request) const {
  view_.expect(request.get_u32(portal::kClientAddress, 0));
}

void Portal::receive(const nv::message& request, const Responder& respond) {
  Client client;
  client.address = request.get_u32(portal::kClientAddress, 0);
  if (const std::string why = refusal(request, client.address); !why.empty()) {
    return respond(protocolError(why));
  }
  const std::uint32_t command = request.get_u32(portal::kCommand, 0);
  client.mac = neighbours_.find(client.address, mayBind(request, command));
  if (spdlog::should_log(spdlog::level::debug)) {
    spdlog::debug("command {} of {} target=\"{}\" to={}", command, addressText(client.address),
                  logText(request.get_string(portal::kTargetDir, "")),
                  originalDestination(request));
  }
  const std::uint32_t scope = request.get_u32(portal::kScope, 0);
  switch (command) {
    case portal::kLogin:
      return login(loginOf(request, client), respond);
    case portal::kStatus: {
      const bool usual = !request.size_u32(portal::kScope);
      return get(client, usual || (scope & portal::kScopeSession) != 0, respond);
    }
    case portal::kGet:
      return get(client, (scope & portal::kScopeSession) != 0, respond);
    case portal::kAlogin:
      return get(client, true, respond);
    case portal::kLogout: {
      const bool erase = request.get_bool(portal::kEraseCookie, false);
      return submitCommand(
          client, [this, client, erase] { return clerk_.logout(client, erase); }, respond);
    }
    case portal::kSet:
      return submitCommand(
          client, [this, client, request] { return clerk_.set(client, request); }, respond);
    case portal::kAdvert:
      return submitCommand(
          client, [this, client] { return clerk_.advert(client); }, respond);
    default:
      return respond(protocolError("unknown command " + std::to_string(command)));
  }
}

nv::message Portal::failedReply() const {
  nv::message reply = nobodyReply(view_, {});
  addFailure(&reply, kFailInternal);
  return reply;
}

void Portal::get(const Client& client, bool needsSession, const Responder& respond) {
  if (const Session* session = view_.findActive(client.address, client.mac)) {
    return respond(statusReply(view_, *session, client, true));
  }
  respond(needsSession ? refusedReply(view_, client, kFailNotLoggedIn)
                       : nobodyReply(view_, client));
}

void Portal::submit(Job job, std::function<nv::message(const Failure&)> failed, Responder respond) {
  const auto reply = std::make_shared<nv::message>();
  queue_.submit(
      {[reply, job = std::move(job)] { *reply = job(); },
       [reply, failed = std::move(failed), respond = std::move(respond)](const Outcome& outcome) {
         respond(outcome.failure ? failed(*outcome.failure) : std::move(*reply));
       }});
}

void Portal::submitCommand(const Client& client, Job job, const Responder& respond) {
  view_.findActive(client.address, client.mac);
  submit(
      std::move(job),
      [this, client](const Failure& failure) { return refusedReply(view_, client, failure); },
      respond);
}

}  // namespace manager
