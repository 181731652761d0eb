// Accounts and profiles in the store.

#include "manager/store.h"

namespace manager {

namespace {

std::string joinLines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    if (!text.empty()) text += '\n';
    text += line;
  }
  return text;
}

std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

User userOf(const Query& row) {
  User user;
  user.name = row.text(0);
  user.secret = row.text(1);
  user.hashed = row.integer(2) != 0;
  user.profile = row.text(3);
  user.allowedUptimeSecs = row.number(4);
  user.allowed = {row.number(5), row.number(6), row.number(7)};
  user.usedUptimeSecs = row.number(8);
  user.usedBytesIn = row.number(9);
  user.usedBytesOut = row.number(10);
  return user;
}

}  // namespace

std::optional<User> Store::findUser(const std::string& name) {
  Query query(db_, "SELECT * FROM users WHERE name = ?");
  if (!query.bind(name).next()) return std::nullopt;
  return userOf(query);
}

std::vector<User> Store::listUsers(const std::string& after, std::int64_t count) {
  std::vector<User> users;
  Query query(db_, "SELECT * FROM users WHERE name > ? ORDER BY name LIMIT ?");
  query.bind(after).bind(count);
  while (query.next()) users.push_back(userOf(query));
  return users;
}

void Store::putUser(const User& user) {
  db_.begin();
  Query(db_, "INSERT OR REPLACE INTO users VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(user.name)
      .bind(user.secret)
      .bind(std::int64_t{user.hashed})
      .bind(user.profile)
      .bind(user.allowedUptimeSecs)
      .bind(user.allowed.in)
      .bind(user.allowed.out)
      .bind(user.allowed.total)
      .bind(user.usedUptimeSecs)
      .bind(user.usedBytesIn)
      .bind(user.usedBytesOut)
      .run();
}

bool Store::removeUser(const std::string& name) {
  db_.begin();
  Query(db_, "DELETE FROM users WHERE name = ?").bind(name).run();
  return db_.changes() > 0;
}

std::int64_t Store::countUsersOfProfile(const std::string& profile) {
  Query query(db_, "SELECT count(*) FROM users WHERE profile = ?");
  query.bind(profile).next();
  return query.integer(0);
}

void Store::addUse(const std::string& name, std::uint64_t uptimeSecs, std::uint64_t bytesIn,
                   std::uint64_t bytesOut) {
  db_.begin();
  Query(db_,
        "UPDATE users SET used_uptime = used_uptime + ?, used_in = used_in + ?,"
        " used_out = used_out + ? WHERE name = ?")
      .bind(uptimeSecs)
      .bind(bytesIn)
      .bind(bytesOut)
      .bind(name)
      .run();
}

std::map<std::string, Profile> Store::loadProfiles() {
  std::map<std::string, Profile> profiles;
  Query query(db_, "SELECT * FROM profiles");
  while (query.next()) {
    Profile profile;
    profile.name = query.text(0);
    profile.sessionTimeSecs = query.number(1);
    profile.idleTimeoutSecs = query.number(2);
    profile.limits = {query.number(3), query.number(4), query.number(5)};
    profile.sharedUsers = query.number(6);
    profile.refreshSecs = query.number(7);
    profile.advertUrls = splitLines(query.text(8));
    profile.advertIntervalSecs = query.number(9);
    profile.advertLookSecs = query.number(10);
    profiles[profile.name] = profile;
  }
  return profiles;
}

void Store::putProfile(const Profile& profile) {
  db_.begin();
  Query(db_, "INSERT OR REPLACE INTO profiles VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(profile.name)
      .bind(profile.sessionTimeSecs)
      .bind(profile.idleTimeoutSecs)
      .bind(profile.limits.in)
      .bind(profile.limits.out)
      .bind(profile.limits.total)
      .bind(profile.sharedUsers)
      .bind(profile.refreshSecs)
      .bind(joinLines(profile.advertUrls))
      .bind(profile.advertIntervalSecs)
      .bind(profile.advertLookSecs)
      .run();
}

void Store::removeProfile(const std::string& name) {
  db_.begin();
  Query(db_, "DELETE FROM profiles WHERE name = ?").bind(name).run();
}

}  // namespace manager
