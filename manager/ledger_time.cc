// What time does to the ledger: the start after a stop or a reboot, and the sweep.

#include <spdlog/spdlog.h>

#include "manager/address_text.h"
#include "manager/ledger.h"

namespace manager {

namespace {

// Activity and counters reach the disk this often (each write wears a flash disk).
constexpr std::int64_t kWriteIntervalSecs = 60;

// How often the store is rid of what nobody needs any more.
constexpr std::int64_t kTidyIntervalSecs = 60;

// Trials count for a day; a second one covers a wall clock that was set meanwhile.
constexpr std::int64_t kKeepTrialsSecs = 172800;

// A wall clock set by more than this gets a new anchor at once.
constexpr std::int64_t kClockSetSecs = 2;

void shift(Session* session, std::int64_t bySecs) {
  session->loginAt += bySecs;
  session->lastActiveAt += bySecs;
  if (session->endAt) *session->endAt += bySecs;
  if (session->advertDueAt) *session->advertDueAt += bySecs;
}

// Gives a session of a boot that lies an unknown time back the length that was seen of it, ending
// now.
void forgetTimes(Session* session, std::int64_t nowSecs) {
  session->loginAt = nowSecs - (session->lastActiveAt - session->loginAt);
  session->lastActiveAt = nowSecs;
  session->endAt.reset();
}

}  // namespace

void Ledger::start() {
  profiles_ = store_.loadProfiles();
  kept_ = store_.loadSettings();
  applyKept();

  const TimeAnchor present = anchorNow(clock_);
  const TimeAnchor stored = store_.loadAnchor().value_or(present);
  const std::optional<std::int64_t> shiftSecs = uptimeShift(stored, present);
  const bool sameBoot = !present.bootId.empty() && present.bootId == stored.bootId;
  for (Session session : store_.loadSessions()) {
    if (shiftSecs) {
      shift(&session, *shiftSecs);
    } else {
      forgetTimes(&session, present.uptimeSecs);
    }
    if (sameBoot) session.lastActiveAt = present.uptimeSecs;
    sessions_.put(session);
  }
  unseenSessions_.merge(sessions_.keep());
  try {
    for (const std::uint32_t address : sessions_.addresses()) {
      const Session* session = sessions_.find(address);
      if (!shiftSecs) {
        end(address, EndReason::kClockLost);
      } else if (const auto reason = overdue(*session, present.uptimeSecs)) {
        end(address, *reason);
      } else if (!sameBoot) {
        store_.putSession(*session);
      }
    }
    putAnchor();
    commit();
  } catch (const StoreError& error) {
    rollback();
    // The store's times are of another boot, and must not be mixed with times of this one.
    if (!sameBoot) throw;
    spdlog::error("starting, but nobody can log in or out: {}", error.what());
  }
  for (const std::uint32_t address : sessions_.addresses()) {
    enforcer_.admit(*sessions_.find(address));
  }
  lastWrittenAt_ = lastTidiedAt_ = present.uptimeSecs;
  spdlog::info("{} sessions kept", sessions_.size());
}

void Ledger::takeCounters(std::uint32_t address) {
  const std::optional<Counters> counters = enforcer_.counters(address);
  if (counters && sessions_.count(address, *counters)) touch(address, now());
}

void Ledger::endOverdue() {
  for (const std::uint32_t address : sessions_.addresses()) {
    takeCounters(address);
    if (const auto reason = overdue(*sessions_.find(address), now())) {
      end(address, *reason);
    } else if (displaced_.count(address) != 0) {
      end(address, EndReason::kOtherDevice);
    }
  }
}

void Ledger::announceStates() {
  for (const std::uint32_t address : sessions_.addresses()) {
    const Session* session = sessions_.find(address);
    const portal::ClientState state = clientState(*session, findProfile(session->profile), now());
    portal::ClientState& announced =
        announced_.try_emplace(address, portal::kStateNormal).first->second;
    if (announced == state) continue;
    announced = state;
    enforcer_.stateChanged(address, state);
  }
}

void Ledger::putAnchor() {
  const TimeAnchor anchor = anchorNow(clock_);
  store_.putAnchor(anchor);
  afterCommit_.push_back([this, anchor] { anchor_ = anchor; });
}

void Ledger::writeChanged() {
  for (const std::uint32_t address : changed_) {
    const Session* session = sessions_.find(address);
    if (session) store_.putSession(*session);
  }
  putAnchor();
  afterCommit_.push_back([this] {
    changed_.clear();
    lastWrittenAt_ = now();
  });
}

void Ledger::tidy() {
  if (now() - lastTidiedAt_ < kTidyIntervalSecs) return;
  store_.removeExpiredCookies(wallNow());
  store_.removeTrialsBefore(wallNow() - kKeepTrialsSecs);
  store_.trimCookies(kMaxCookies);
  store_.trimTrials(kMaxTrials);
  afterCommit_.push_back([this] { lastTidiedAt_ = now(); });
}

void Ledger::sweep() {
  try {
    endOverdue();
    tidy();
    // An idle hotspot leaves its disk alone.
    if (now() - lastWrittenAt_ >= kWriteIntervalSecs && !changed_.empty()) writeChanged();
    const std::int64_t setBySecs = (wallNow() - now()) - (anchor_.wallSecs - anchor_.uptimeSecs);
    if (setBySecs > kClockSetSecs || setBySecs < -kClockSetSecs) putAnchor();
    commit();
  } catch (...) {
    rollback();
    // The store could not be told, but time is up for these clients all the same.
    for (const std::uint32_t address : sessions_.addresses()) {
      if (overdue(*sessions_.find(address), now())) enforcer_.dismiss(address);
    }
    throw;
  }
  announceStates();
}

void Ledger::settle() {
  try {
    writeChanged();
    commit();
  } catch (...) {
    rollback();
    throw;
  }
  store_.checkpoint();
}

}  // namespace manager
