// Sessions in the store.

#include <utility>

#include "manager/store.h"

namespace manager {

namespace {

void bindOptional(Query& query, const std::optional<std::int64_t>& value) {
  if (value) {
    query.bind(*value);
  } else {
    query.bindNull();
  }
}

std::optional<std::int64_t> optionalOf(const Query& row, int column) {
  if (row.isNull(column)) return std::nullopt;
  return row.integer(column);
}

}  // namespace

void Store::loadSessions(const std::function<void(Session)>& take) {
  Query query(db_, "SELECT * FROM sessions");
  while (query.next()) {
    Session session;
    session.address = static_cast<std::uint32_t>(query.integer(0));
    session.mac = query.text(1);
    session.account = query.text(2);
    session.domain = query.text(3);
    session.profile = query.text(4);
    session.loginBy = query.text(5);
    session.loginAt = query.integer(6);
    session.endAt = optionalOf(query, 7);
    session.idleTimeoutSecs = query.number(8);
    session.lastActiveAt = query.integer(9);
    session.limits = {query.number(10), query.number(11), query.number(12)};
    session.counters = {query.number(13), query.number(14), query.number(15), query.number(16)};
    session.cookieId = static_cast<std::uint32_t>(query.integer(17));
    session.advertDueAt = optionalOf(query, 18);
    session.advertsShown = query.number(19);
    session.originalDestination = query.text(20);
    session.radiusAttributes = query.text(21);
    take(std::move(session));
  }
}

void Store::putSession(const Session& session) {
  db_.begin();
  Query query(db_,
              "INSERT OR REPLACE INTO sessions VALUES"
              " (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  query.bind(std::uint64_t{session.address})
      .bind(session.mac)
      .bind(session.account)
      .bind(session.domain)
      .bind(session.profile)
      .bind(session.loginBy)
      .bind(session.loginAt);
  bindOptional(query, session.endAt);
  query.bind(session.idleTimeoutSecs)
      .bind(session.lastActiveAt)
      .bind(session.limits.in)
      .bind(session.limits.out)
      .bind(session.limits.total)
      .bind(session.counters.bytesIn)
      .bind(session.counters.packetsIn)
      .bind(session.counters.bytesOut)
      .bind(session.counters.packetsOut)
      .bind(std::uint64_t{session.cookieId});
  bindOptional(query, session.advertDueAt);
  query.bind(session.advertsShown)
      .bind(session.originalDestination)
      .bind(session.radiusAttributes)
      .run();
}

void Store::removeSession(std::uint32_t address) {
  db_.begin();
  Query(db_, "DELETE FROM sessions WHERE address = ?").bind(std::uint64_t{address}).run();
}

}  // namespace manager
