// The administrator's verbs for accounts.

#include "manager/admin.h"
#include "manager/admin_arguments.h"
#include "manager/password.h"

namespace manager {

using Json = nlohmann::json;

namespace {

constexpr NumberField<User> kAllowances[] = {
    {"limit-uptime", [](User& user) -> std::uint64_t& { return user.allowedUptimeSecs; }},
    {"limit-bytes-in", [](User& user) -> std::uint64_t& { return user.allowed.in; }},
    {"limit-bytes-out", [](User& user) -> std::uint64_t& { return user.allowed.out; }},
    {"limit-bytes-total", [](User& user) -> std::uint64_t& { return user.allowed.total; }},
};

constexpr std::size_t kMaxPasswordBytes = 256;

// Sets the secret from "password" or "password-hash"; false when there is neither.
bool takePassword(User* user, const Json& arguments) {
  const bool plain = arguments.contains("password");
  const bool hashed = arguments.contains("password-hash");
  if (!plain && !hashed) return false;
  if (plain && hashed) throw AdminRefusal("give password or password-hash, not both");
  const std::string secret = textArgument(arguments, plain ? "password" : "password-hash");
  if (secret.empty() || secret.size() > kMaxPasswordBytes ||
      secret.find('\0') != std::string::npos) {
    throw AdminRefusal("a password must have 1 to " + std::to_string(kMaxPasswordBytes) +
                       " bytes, none of them zero");
  }
  if (hashed && !isUsableHash(secret)) {
    throw AdminRefusal("password-hash must be a yescrypt hash of crypt(5), \"$y$...\"");
  }
  user->secret = secret;
  user->hashed = hashed;
  return true;
}

}  // namespace

User Admin::userOf(const Json& arguments) {
  const std::string name = textArgument(arguments, "name");
  std::optional<User> user = ledger_.store().findUser(name);
  if (!user) throw AdminRefusal("there is no user \"" + name + "\"");
  return *user;
}

void Admin::checkProfile(const std::string& name) const {
  if (!ledger_.findProfile(name)) throw AdminRefusal("there is no profile \"" + name + "\"");
}

Json Admin::userJson(const User& user) const {
  const Use running = ledger_.useOfRunning(user.name);
  Json shown = {{"name", user.name},
                {"profile", user.profile},
                {"password-kind", user.hashed ? "hash" : "plain"},
                {"sessions", ledger_.sessions().addressesOf(user.name).size()},
                {"used-uptime", user.usedUptimeSecs + running.uptimeSecs},
                {"used-bytes-in", user.usedBytesIn + running.bytesIn},
                {"used-bytes-out", user.usedBytesOut + running.bytesOut}};
  showNumbers(user, kAllowances, &shown);
  return shown;
}

Json Admin::addUser(const Json& arguments) {
  onlyKeys(arguments, {"name", "password", "password-hash", "profile", "limit-uptime",
                       "limit-bytes-in", "limit-bytes-out", "limit-bytes-total"});
  User user;
  user.name = textArgument(arguments, "name");
  checkName(user.name, "a user's name");
  if (user.name == kTrialName) {
    throw AdminRefusal("the name \"trial\" belongs to trial logins");
  }
  if (ledger_.store().findUser(user.name)) {
    throw AdminRefusal("there is a user \"" + user.name + "\" already");
  }
  if (!takePassword(&user, arguments)) throw AdminRefusal("password is missing");
  user.profile = textArgument(arguments, "profile", kDefaultProfile);
  checkProfile(user.profile);
  setNumbers(&user, kAllowances, arguments);
  ledger_.store().putUser(user);
  return userJson(user);
}

Json Admin::setUser(const Json& arguments) {
  onlyKeys(arguments, {"name", "password", "password-hash", "profile", "limit-uptime",
                       "limit-bytes-in", "limit-bytes-out", "limit-bytes-total", "reset-use"});
  User user = userOf(arguments);
  const bool newPassword = takePassword(&user, arguments);
  if (arguments.contains("profile")) {
    user.profile = textArgument(arguments, "profile");
    checkProfile(user.profile);
  }
  setNumbers(&user, kAllowances, arguments);
  if (flagArgument(arguments, "reset-use")) {
    user.usedUptimeSecs = user.usedBytesIn = user.usedBytesOut = 0;
  }
  // Who knew the old password alone must not come back with a cookie.
  if (newPassword) ledger_.store().removeCookiesOfAccount(user.name);
  ledger_.store().putUser(user);
  return userJson(user);
}

Json Admin::removeUser(const Json& arguments) {
  onlyKeys(arguments, {"name"});
  const User user = userOf(arguments);
  const std::size_t ended = ledger_.endAll(user.name, EndReason::kAccountRemoved);
  ledger_.store().removeCookiesOfAccount(user.name);
  ledger_.store().removeUser(user.name);
  return {{"removed", user.name}, {"sessions-ended", ended}};
}

Json Admin::listUsers(const Json& arguments) {
  onlyKeys(arguments, {"after"});
  const std::vector<User> users =
      ledger_.store().listUsers(textArgument(arguments, "after", ""), kRowsAReply);
  Json rows = Json::array();
  for (const User& user : users) rows.push_back(userJson(user));
  return rowsReply(std::move(rows), users.size() == kRowsAReply ? Json(users.back().name) : Json());
}

Json Admin::showUser(const Json& arguments) {
  onlyKeys(arguments, {"name"});
  return userJson(userOf(arguments));
}

}  // namespace manager
