#include "manager/schema.h"

namespace manager {

namespace {

constexpr std::int64_t kSchemaVersion = 1;

// Advertisement addresses are one text, an address a line.
constexpr const char* kCreate = R"sql(
CREATE TABLE meta (
  only INTEGER PRIMARY KEY CHECK (only = 1),
  boot_id TEXT NOT NULL,
  uptime INTEGER NOT NULL,
  wall INTEGER NOT NULL
);
CREATE TABLE settings (
  name TEXT PRIMARY KEY,
  value TEXT NOT NULL
) WITHOUT ROWID;
CREATE TABLE profiles (
  name TEXT PRIMARY KEY,
  session_time INTEGER NOT NULL,
  idle_timeout INTEGER NOT NULL,
  limit_in INTEGER NOT NULL,
  limit_out INTEGER NOT NULL,
  limit_total INTEGER NOT NULL,
  shared_users INTEGER NOT NULL,
  refresh INTEGER NOT NULL,
  advert_urls TEXT NOT NULL,
  advert_interval INTEGER NOT NULL,
  advert_look INTEGER NOT NULL
) WITHOUT ROWID;
CREATE TABLE users (
  name TEXT PRIMARY KEY,
  secret TEXT NOT NULL,
  hashed INTEGER NOT NULL,
  profile TEXT NOT NULL,
  allowed_uptime INTEGER NOT NULL,
  allowed_in INTEGER NOT NULL,
  allowed_out INTEGER NOT NULL,
  allowed_total INTEGER NOT NULL,
  used_uptime INTEGER NOT NULL,
  used_in INTEGER NOT NULL,
  used_out INTEGER NOT NULL
) WITHOUT ROWID;
CREATE INDEX users_by_profile ON users (profile);
CREATE TABLE sessions (
  address INTEGER PRIMARY KEY,
  mac TEXT NOT NULL,
  account TEXT NOT NULL,
  domain TEXT NOT NULL,
  profile TEXT NOT NULL,
  login_by TEXT NOT NULL,
  login_at INTEGER NOT NULL,
  end_at INTEGER,
  idle_timeout INTEGER NOT NULL,
  last_active_at INTEGER NOT NULL,
  limit_in INTEGER NOT NULL,
  limit_out INTEGER NOT NULL,
  limit_total INTEGER NOT NULL,
  bytes_in INTEGER NOT NULL,
  packets_in INTEGER NOT NULL,
  bytes_out INTEGER NOT NULL,
  packets_out INTEGER NOT NULL,
  cookie_id INTEGER NOT NULL,
  advert_due_at INTEGER,
  adverts_shown INTEGER NOT NULL,
  original_destination TEXT NOT NULL,
  radius_attributes BLOB NOT NULL
);
CREATE TABLE cookies (
  id INTEGER PRIMARY KEY,
  account TEXT NOT NULL,
  domain TEXT NOT NULL,
  client TEXT NOT NULL,
  expires_wall INTEGER NOT NULL
);
CREATE INDEX cookies_by_account ON cookies (account, client);
CREATE INDEX cookies_by_expiry ON cookies (expires_wall);
CREATE TABLE trials (
  client TEXT PRIMARY KEY,
  started_wall INTEGER NOT NULL
) WITHOUT ROWID;
INSERT INTO profiles VALUES ('default', 0, 1800, 0, 0, 0, 1, 60, '', 0, 0);
INSERT INTO profiles VALUES ('trial', 1800, 300, 0, 0, 0, 0, 60, '', 0, 0);
PRAGMA user_version = 1;
)sql";

}  // namespace

void prepareSchema(Database& db) {
  std::int64_t version = 0;
  {
    Query query(db, "PRAGMA user_version");
    if (query.next()) version = query.integer(0);
  }
  if (version > kSchemaVersion) {
    throw StoreError("database " + db.path() +
                     ": a newer version of this program wrote it (format " +
                     std::to_string(version) + ", this one knows " +
                     std::to_string(kSchemaVersion) + "); install that version again");
  }
  if (version == kSchemaVersion) return;
  db.begin();
  try {
    db.execute(kCreate);
    db.commit();
  } catch (...) {
    db.rollback();
    throw;
  }
}

}  // namespace manager
