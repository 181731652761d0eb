// The administrator's verbs for sessions and cookies.

#include <algorithm>

#include "manager/address_text.h"
#include "manager/admin.h"
#include "manager/admin_arguments.h"

namespace manager {

using Json = nlohmann::json;

namespace {

constexpr NumberField<Counters> kCounters[] = {
    {"bytes-in", [](Counters& c) -> std::uint64_t& { return c.bytesIn; }},
    {"packets-in", [](Counters& c) -> std::uint64_t& { return c.packetsIn; }},
    {"bytes-out", [](Counters& c) -> std::uint64_t& { return c.bytesOut; }},
    {"packets-out", [](Counters& c) -> std::uint64_t& { return c.packetsOut; }},
};

constexpr NumberField<ByteLimits> kLimits[] = {
    {"limit-bytes-in", [](ByteLimits& l) -> std::uint64_t& { return l.in; }},
    {"limit-bytes-out", [](ByteLimits& l) -> std::uint64_t& { return l.out; }},
    {"limit-bytes-total", [](ByteLimits& l) -> std::uint64_t& { return l.total; }},
};

const char* stateText(portal::ClientState state) {
  switch (state) {
    case portal::kStateAdvertPending:
      return "advertisement pending";
    case portal::kStateBlocked:
      return "blocked";
    case portal::kStateNone:
    case portal::kStateNormal:
      return "normal";
  }
  return "";
}

std::uint32_t addressArgument(const Json& arguments, const char* key) {
  std::uint32_t address = 0;
  if (!parseAddress(textArgument(arguments, key), &address)) {
    throw AdminRefusal(std::string(key) + " must be an IPv4 address");
  }
  return address;
}

// A copy: the table's own goes with the session.
Session sessionOf(Ledger& ledger, const Json& arguments) {
  const std::uint32_t address = addressArgument(arguments, "address");
  const Session* session = ledger.find(address, "");
  if (!session) throw AdminRefusal("there is no session of " + addressText(address));
  return *session;
}

}  // namespace

Json Admin::sessionJson(const Session& session) const {
  const std::int64_t now = ledger_.now();
  Json shown = {
      {"address", addressText(session.address)},
      {"mac", session.mac},
      {"user", session.account},
      {"profile", session.profile},
      {"login-by", session.loginBy},
      {"uptime", lasted(session, now)},
      {"time-left", session.endAt ? Json(*session.endAt - now) : Json()},
      {"idle", std::max<std::int64_t>(now - session.lastActiveAt, 0)},
      {"idle-timeout", session.idleTimeoutSecs},
      {"state", stateText(clientState(session, ledger_.findProfile(session.profile), now))},
      {"adverts-shown", session.advertsShown},
      {"original-destination", session.originalDestination}};
  showNumbers(session.counters, kCounters, &shown);
  showNumbers(session.limits, kLimits, &shown);
  return shown;
}

Json Admin::listSessions(const Json& arguments) {
  onlyKeys(arguments, {"after", "user"});
  const std::uint32_t after = arguments.contains("after") ? addressArgument(arguments, "after") : 0;
  const std::string user = textArgument(arguments, "user", "");
  Json rows = Json::array();
  std::string last;
  bool more = false;
  const SessionTable& sessions = ledger_.sessions();
  for (const Session* each = sessions.behind(after, user); each;
       each = sessions.behind(each->address, user)) {
    const Session* session = ledger_.find(each->address, "");
    if (!session) continue;
    more = rows.size() == kRowsAReply;
    if (more) break;
    rows.push_back(sessionJson(*session));
    last = addressText(session->address);
  }
  return rowsReply(std::move(rows), more ? Json(last) : Json());
}

Json Admin::showSession(const Json& arguments) {
  onlyKeys(arguments, {"address"});
  return sessionJson(sessionOf(ledger_, arguments));
}

Json Admin::endSession(const Json& arguments) {
  onlyKeys(arguments, {"address", "user"});
  if (arguments.contains("user")) {
    const std::string user = textArgument(arguments, "user");
    if (arguments.contains("address")) throw AdminRefusal("give address or user, not both");
    return {{"sessions-ended", ledger_.endAll(user, EndReason::kAdministrator)}};
  }
  const Session session = sessionOf(ledger_, arguments);
  ledger_.end(session.address, EndReason::kAdministrator);
  return {{"sessions-ended", 1}};
}

Json Admin::reportSession(const Json& arguments) {
  onlyKeys(arguments, {"address", "bytes-in", "packets-in", "bytes-out", "packets-out"});
  Session session = sessionOf(ledger_, arguments);
  const Counters before = session.counters;
  setNumbers(&session.counters, kCounters, arguments);
  if (session.counters != before) session.lastActiveAt = ledger_.now();
  ledger_.update(session);
  counters_.report(session.address, session.counters);
  Json shown = sessionJson(session);
  // The report may say that a limit was reached: the session ends for that at once.
  if (overdue(session, ledger_.now())) ledger_.end(session.address, EndReason::kTraffic);
  return shown;
}

Json Admin::listCookies(const Json& arguments) {
  onlyKeys(arguments, {"after"});
  const std::int64_t after = arguments.contains("after")
                                 ? static_cast<std::int64_t>(numberArgument(arguments, "after"))
                                 : -1;
  const std::vector<Cookie> cookies = ledger_.store().listCookies(after, kRowsAReply);
  Json rows = Json::array();
  for (const Cookie& cookie : cookies) {
    const std::int64_t left = cookie.expiresWallSecs - ledger_.wallNow();
    if (left <= 0) continue;
    rows.push_back({{"id", cookie.id},
                    {"user", cookie.account},
                    {"client", cookie.client},
                    {"expires-in", left}});
  }
  return rowsReply(std::move(rows),
                   cookies.size() == kRowsAReply ? Json(cookies.back().id) : Json());
}

Json Admin::removeCookies(const Json& arguments) {
  onlyKeys(arguments, {"id", "user"});
  if (arguments.contains("id") == arguments.contains("user")) {
    throw AdminRefusal("give id or user");
  }
  if (arguments.contains("user")) {
    return {{"cookies-removed",
             ledger_.store().removeCookiesOfAccount(textArgument(arguments, "user"))}};
  }
  const std::uint64_t id = numberArgument(arguments, "id");
  if (id > 0xffffffff || !ledger_.store().findCookie(static_cast<std::uint32_t>(id))) {
    throw AdminRefusal("there is no cookie " + std::to_string(id));
  }
  ledger_.store().removeCookie(static_cast<std::uint32_t>(id));
  return {{"cookies-removed", 1}};
}

}  // namespace manager
