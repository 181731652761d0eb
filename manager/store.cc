#include "manager/store.h"

#include "manager/schema.h"

namespace manager {

Store::Store(const std::string& path) : db_(path) {
  prepareSchema(db_);
  // What a killed manager left in the log goes to its place.
  db_.makeRoom();
}

void Store::commit() { db_.commit(); }

void Store::rollback() { db_.rollback(); }

void Store::checkpoint() noexcept { db_.checkpoint(); }

void Store::makeRoom() noexcept { db_.makeRoom(); }

std::optional<Cookie> Store::findCookie(std::uint32_t id) {
  Query query(db_, "SELECT account, domain, client, expires_wall FROM cookies WHERE id = ?");
  query.bind(std::uint64_t{id});
  if (!query.next()) return std::nullopt;
  return Cookie{id, query.text(0), query.text(1), query.text(2), query.integer(3)};
}

std::vector<Cookie> Store::listCookies(std::int64_t afterId, std::int64_t count) {
  std::vector<Cookie> cookies;
  Query query(db_,
              "SELECT id, account, domain, client, expires_wall FROM cookies"
              " WHERE id > ? ORDER BY id LIMIT ?");
  query.bind(afterId).bind(count);
  while (query.next()) {
    cookies.push_back({static_cast<std::uint32_t>(query.integer(0)), query.text(1), query.text(2),
                       query.text(3), query.integer(4)});
  }
  return cookies;
}

bool Store::addCookie(const Cookie& cookie) {
  db_.begin();
  Query(db_, "INSERT OR IGNORE INTO cookies VALUES (?, ?, ?, ?, ?)")
      .bind(std::uint64_t{cookie.id})
      .bind(cookie.account)
      .bind(cookie.domain)
      .bind(cookie.client)
      .bind(cookie.expiresWallSecs)
      .run();
  return db_.changes() > 0;
}

bool Store::removeCookie(std::uint32_t id) {
  db_.begin();
  Query(db_, "DELETE FROM cookies WHERE id = ?").bind(std::uint64_t{id}).run();
  return db_.changes() > 0;
}

void Store::removeCookies(const std::string& account, const std::string& client) {
  db_.begin();
  Query(db_, "DELETE FROM cookies WHERE account = ? AND client = ?")
      .bind(account)
      .bind(client)
      .run();
}

std::int64_t Store::removeCookiesOfAccount(const std::string& account) {
  db_.begin();
  Query(db_, "DELETE FROM cookies WHERE account = ?").bind(account).run();
  return db_.changes();
}

bool Store::removeExpiredCookies(std::int64_t wallSecs) {
  // Looked for first: a sweep that finds nothing writes nothing.
  {
    Query query(db_, "SELECT 1 FROM cookies WHERE expires_wall <= ? LIMIT 1");
    if (!query.bind(wallSecs).next()) return false;
  }
  db_.begin();
  Query(db_, "DELETE FROM cookies WHERE expires_wall <= ?").bind(wallSecs).run();
  return true;
}

bool Store::trimCookies(std::int64_t most) {
  {
    Query query(db_, "SELECT 1 FROM cookies LIMIT 1 OFFSET ?");
    if (!query.bind(most).next()) return false;
  }
  db_.begin();
  Query(db_,
        "DELETE FROM cookies WHERE id IN"
        " (SELECT id FROM cookies ORDER BY expires_wall DESC LIMIT -1 OFFSET ?)")
      .bind(most)
      .run();
  return true;
}

std::optional<std::int64_t> Store::findTrial(const std::string& client) {
  Query query(db_, "SELECT started_wall FROM trials WHERE client = ?");
  if (!query.bind(client).next()) return std::nullopt;
  return query.integer(0);
}

void Store::putTrial(const std::string& client, std::int64_t wallSecs) {
  db_.begin();
  Query(db_, "INSERT OR REPLACE INTO trials VALUES (?, ?)").bind(client).bind(wallSecs).run();
}

bool Store::removeTrialsBefore(std::int64_t wallSecs) {
  {
    Query query(db_, "SELECT 1 FROM trials WHERE started_wall < ? LIMIT 1");
    if (!query.bind(wallSecs).next()) return false;
  }
  db_.begin();
  Query(db_, "DELETE FROM trials WHERE started_wall < ?").bind(wallSecs).run();
  return true;
}

bool Store::trimTrials(std::int64_t most) {
  {
    Query query(db_, "SELECT 1 FROM trials LIMIT 1 OFFSET ?");
    if (!query.bind(most).next()) return false;
  }
  db_.begin();
  Query(db_,
        "DELETE FROM trials WHERE client IN"
        " (SELECT client FROM trials ORDER BY started_wall DESC LIMIT -1 OFFSET ?)")
      .bind(most)
      .run();
  return true;
}

std::map<std::string, std::string> Store::loadSettings() {
  std::map<std::string, std::string> settings;
  Query query(db_, "SELECT name, value FROM settings");
  while (query.next()) settings[query.text(0)] = query.text(1);
  return settings;
}

void Store::putSetting(const std::string& name, const std::string& value) {
  db_.begin();
  Query(db_, "INSERT OR REPLACE INTO settings VALUES (?, ?)").bind(name).bind(value).run();
}

void Store::removeSetting(const std::string& name) {
  db_.begin();
  Query(db_, "DELETE FROM settings WHERE name = ?").bind(name).run();
}

std::optional<TimeAnchor> Store::loadAnchor() {
  Query query(db_, "SELECT boot_id, uptime, wall FROM meta");
  if (!query.next()) return std::nullopt;
  return TimeAnchor{query.text(0), query.integer(1), query.integer(2)};
}

void Store::putAnchor(const TimeAnchor& anchor) {
  db_.begin();
  Query(db_, "INSERT OR REPLACE INTO meta VALUES (1, ?, ?, ?)")
      .bind(anchor.bootId)
      .bind(anchor.uptimeSecs)
      .bind(anchor.wallSecs)
      .run();
}

}  // namespace manager
