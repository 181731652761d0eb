#include "manager/replies.h"

#include <arpa/inet.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "manager/address_text.h"
#include "manager/portal_protocol.h"
#include "manager/session_rules.h"

namespace manager {

namespace {

// A moment as the protocol carries it: modulo 2^32, which the reader's arithmetic takes into
// account. A login before this boot is thereby still shown with its right length.
std::uint32_t wireMoment(std::int64_t secs) { return static_cast<std::uint32_t>(secs); }

std::uint32_t wireDuration(std::uint64_t secs) {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(secs, std::numeric_limits<std::uint32_t>::max()));
}

// A longer name is nobody's, and is not sent back.
constexpr std::size_t kMaxEchoedName = 253;

void addText(nv::message* reply, std::uint32_t id, const std::string& text) {
  if (!text.empty()) reply->insert_string(id, text);
}

// The hotspot and, if known, the client's MAC address: the beginning of every reply.
nv::message beginReply(const Standing& standing, const std::string& mac) {
  nv::message reply = standing.hotspot();
  const std::vector<unsigned char> bytes = macBytes(mac);
  if (!bytes.empty()) reply.insert_raw(portal::kMac, bytes);
  return reply;
}

}  // namespace

nv::message hotspotFields(const ServerSettings& settings) {
  nv::message reply;
  reply.insert_u32(portal::kOptionBits, (settings.plainPasswd ? portal::kOptionPlainPasswd : 0) |
                                            (settings.trial ? portal::kOptionTrial : 0));
  reply.insert_bool(portal::kSslLogin, settings.sslLogin);
  reply.insert_string(portal::kHtmlDir, settings.htmlDir);
  addText(&reply, portal::kDnsName, settings.dnsName);
  std::uint32_t address = 0;
  if (!settings.serverAddress.empty() && parseAddress(settings.serverAddress, &address)) {
    reply.insert_be32(portal::kServerAddress, htonl(address));
  }
  addText(&reply, portal::kServerName, settings.serverName);
  addText(&reply, portal::kInterfaceName, settings.interfaceName);
  addText(&reply, portal::kLocationId, settings.locationId);
  addText(&reply, portal::kLocationName, settings.locationName);
  return reply;
}

void addSession(nv::message* reply, const Session& session, const Profile* profile,
                std::int64_t nowSecs, bool loggedIn) {
  reply->insert_bool(portal::kLoggedIn, loggedIn);
  reply->insert_string(portal::kUserName, shownName(session));
  addText(reply, portal::kDomain, session.domain);
  addText(reply, portal::kLoginBy, session.loginBy);
  reply->insert_u32(portal::kClientState,
                    loggedIn ? clientState(session, profile, nowSecs) : portal::kStateNone);
  reply->insert_u32(portal::kLoginTime, wireMoment(session.loginAt));
  if (session.endAt) reply->insert_u32(portal::kSessionEnd, wireMoment(*session.endAt));
  reply->insert_u32(portal::kIdleTimeout, wireDuration(session.idleTimeoutSecs));
  reply->insert_u32(portal::kRefresh, wireDuration(profile ? profile->refreshSecs : 0));
  reply->insert_u64(portal::kBytesIn, session.counters.bytesIn);
  reply->insert_u64(portal::kPacketsIn, session.counters.packetsIn);
  reply->insert_u64(portal::kBytesOut, session.counters.bytesOut);
  reply->insert_u64(portal::kPacketsOut, session.counters.packetsOut);
  reply->insert_u64(portal::kLimitBytesIn, session.limits.in);
  reply->insert_u64(portal::kLimitBytesOut, session.limits.out);
  reply->insert_u64(portal::kLimitBytesTotal, session.limits.total);
  if (!session.radiusAttributes.empty()) {
    reply->insert_raw(portal::kRadiusAttributes,
                      {session.radiusAttributes.begin(), session.radiusAttributes.end()});
  }
}

nv::message statusReply(const Standing& standing, const Session& session, const Client& client,
                        bool loggedIn) {
  nv::message reply = beginReply(standing, client.mac.empty() ? session.mac : client.mac);
  addSession(&reply, session, standing.findProfile(session.profile), standing.now(), loggedIn);
  return reply;
}

nv::message nobodyReply(const Standing& standing, const Client& client) {
  nv::message reply = beginReply(standing, client.mac);
  reply.insert_bool(portal::kLoggedIn, false);
  return reply;
}

nv::message refusedReply(Standing& standing, const Client& client, const Failure& failure) {
  const Session* session = standing.find(client.address, client.mac);
  nv::message reply =
      session ? statusReply(standing, *session, client, true) : nobodyReply(standing, client);
  addFailure(&reply, failure);
  return reply;
}

nv::message loginPageReply(const Standing& standing, const Login& login) {
  nv::message reply = nobodyReply(standing, login.client);
  if (login.user.size() <= kMaxEchoedName) {
    reply.insert_string(portal::kUserName, login.user);
  }
  if (login.domain.size() <= kMaxEchoedName) reply.insert_string(portal::kDomain, login.domain);
  return reply;
}

nv::message loginRefusedReply(const Standing& standing, const Login& login,
                              const Failure& failure) {
  nv::message reply = loginPageReply(standing, login);
  addFailure(&reply, failure);
  return reply;
}

void addFailure(nv::message* reply, const Failure& failure) {
  nv::setError(reply, failure.code, failure.text);
  reply->insert_string(portal::kPageMessage, failure.message);
}

nv::message protocolError(const std::string& text) {
  nv::message reply;
  nv::setError(&reply, portal::kErrInternal, text);
  return reply;
}

std::string shownName(const Session& session) {
  if (session.domain.empty()) return session.account;
  const std::string tail = "@" + session.domain;
  const std::string& account = session.account;
  const bool has = account.size() > tail.size() &&
                   account.compare(account.size() - tail.size(), tail.size(), tail) == 0;
  return has ? account.substr(0, account.size() - tail.size()) : account;
}

}  // namespace manager
