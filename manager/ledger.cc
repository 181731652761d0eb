#include "manager/ledger.h"

#include <spdlog/spdlog.h>

#include "manager/address_text.h"
#include "manager/fail_stop.h"
#include "manager/replies.h"

namespace manager {

Ledger::Ledger(Store& store, const Clock& clock, Enforcer& enforcer, const ServerSettings& base,
               std::size_t maxSessions)
    : store_(store),
      clock_(clock),
      enforcer_(enforcer),
      base_(base),
      maxSessions_(maxSessions),
      settings_(base) {}

void Ledger::commit() {
  // What needs memory first, as far as it does no harm where nothing is committed.
  const std::set<std::uint32_t> changed = sessions_.changed();
  for (const std::uint32_t address : changed) {
    unseenSessions_.insert(address);
    if (sessions_.find(address)) due_.put(address, now());
  }
  store_.commit();
  for (const std::uint32_t address : changed) {
    if (!sessions_.find(address)) due_.drop(address);
  }
  sessions_.keep();
  // States depend on the profiles' advertisements.
  allDue_ = allDue_ || before_.profiles.has_value();
  unseenProfiles_ = unseenProfiles_ || before_.profiles.has_value();
  unseenSettings_ = unseenSettings_ || before_.kept.has_value();
  before_ = {};
  try {
    for (const auto& tell : afterCommit_) tell();
  } catch (const std::exception& error) {
    // It cannot be undone any more. A start tells the enforcer everything anew.
    failStop(error);
  }
  afterCommit_.clear();
}

void Ledger::rollback() noexcept {
  try {
    store_.rollback();
    sessions_.undo();
    afterCommit_.clear();
    if (before_.profiles) profiles_.swap(*before_.profiles);
    if (before_.kept) {
      kept_.swap(*before_.kept);
      applyKept();
    }
    before_ = {};
  } catch (const std::exception& error) {
    failStop(error);
  }
}

Changes Ledger::takeChanges() {
  Changes changes;
  const std::set<std::uint32_t>& unseen = unseenAll_ ? sessions_.addresses() : unseenSessions_;
  changes.sessions.reserve(unseen.size());
  for (const std::uint32_t address : unseen) {
    const Session* session = sessions_.find(address);
    changes.sessions.emplace_back(address, session ? std::optional(*session) : std::nullopt);
  }
  if (unseenProfiles_) changes.profiles = profiles_;
  if (unseenSettings_) changes.settings = settings_;
  unseenSessions_.clear();
  unseenAll_ = unseenProfiles_ = unseenSettings_ = false;
  return changes;
}

const Session* Ledger::find(std::uint32_t address, const std::string& mac) {
  takeCounters(address);
  const Session* session = sessions_.find(address);
  if (!session || overdue(*session, now())) return nullptr;
  if (isOtherDevice(*session, mac)) {
    displaced_.insert(address);
    return nullptr;
  }
  return session;
}

void Ledger::touch(std::uint32_t address, std::int64_t atSecs) { sessions_.touch(address, atSecs); }

void Ledger::displace(std::uint32_t address, const std::string& otherMac) {
  const Session* session = sessions_.find(address);
  if (session && isOtherDevice(*session, otherMac)) displaced_.insert(address);
}

void Ledger::open(const Session& session) {
  end(session.address, EndReason::kOtherDevice);
  store_.putSession(session);
  sessions_.put(session);
  afterCommit_.push_back([this, session] {
    enforcer_.admit(session);
    spdlog::info("login address={} mac={} user={} by={} to={}", addressText(session.address),
                 session.mac, session.account, session.loginBy, session.originalDestination);
  });
}

void Ledger::update(const Session& session) {
  store_.putSession(session);
  sessions_.put(session);
}

void Ledger::end(std::uint32_t address, EndReason reason) {
  const Session* found = sessions_.find(address);
  if (!found) return;
  const Session session = *found;
  // Whatever led here, a session that was over already ended for that reason.
  const EndReason why = overdue(session, now()).value_or(reason);
  store_.removeSession(address);
  if (session.account != kTrialName) {
    store_.addUse(session.account, lasted(session, now()), session.counters.bytesIn,
                  session.counters.bytesOut);
  }
  sessions_.erase(address);
  afterCommit_.push_back([this, session, why] {
    enforcer_.dismiss(session.address);
    displaced_.erase(session.address);
    announced_.erase(session.address);
    spdlog::info("session ended address={} user={} reason=\"{}\"", addressText(session.address),
                 session.account, reasonText(why));
  });
}

std::size_t Ledger::endAll(const std::string& account, EndReason reason) {
  const std::vector<std::uint32_t> addresses = sessions_.addressesOf(account);
  for (const std::uint32_t address : addresses) end(address, reason);
  return addresses.size();
}

Use Ledger::useOfRunning(const std::string& account) const {
  Use use;
  for (const std::uint32_t address : sessions_.addressesOf(account)) {
    const Session* session = sessions_.find(address);
    use.uptimeSecs += lasted(*session, now());
    use.bytesIn += session->counters.bytesIn;
    use.bytesOut += session->counters.bytesOut;
  }
  return use;
}

const Profile* Ledger::findProfile(const std::string& name) const {
  const auto found = profiles_.find(name);
  return found == profiles_.end() ? nullptr : &found->second;
}

void Ledger::putProfile(const Profile& profile) {
  store_.putProfile(profile);
  if (!before_.profiles) before_.profiles = profiles_;
  profiles_[profile.name] = profile;
}

void Ledger::removeProfile(const std::string& name) {
  store_.removeProfile(name);
  if (!before_.profiles) before_.profiles = profiles_;
  profiles_.erase(name);
}

void Ledger::keepSetting(const std::string& name, const std::string& value) {
  store_.putSetting(name, value);
  if (!before_.kept) before_.kept = kept_;
  kept_[name] = value;
  applyKept();
}

void Ledger::dropSetting(const std::string& name) {
  store_.removeSetting(name);
  if (!before_.kept) before_.kept = kept_;
  kept_.erase(name);
  applyKept();
}

void Ledger::applyKept() {
  std::vector<std::string> skipped;
  settings_ = overlay(base_, kept_, &skipped);
  hotspot_ = hotspotFields(settings_);
  for (const std::string& name : skipped) {
    spdlog::warn("the kept value of the setting {} does not fit and is not used", name);
  }
}

}  // namespace manager
