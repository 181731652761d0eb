// What time does to the ledger: the start after a stop or a reboot, and the sweep.

#include <spdlog/spdlog.h>

#include <algorithm>
#include <new>
#include <utility>

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
  store_.loadSessions([&](Session session) {
    if (shiftSecs) {
      shift(&session, *shiftSecs);
    } else {
      forgetTimes(&session, present.uptimeSecs);
    }
    if (sameBoot) session.lastActiveAt = present.uptimeSecs;
    sessions_.restore(std::move(session));
  });
  try {
    // A copy: the table's own changes with every session that ends.
    for (const std::uint32_t address : std::set<std::uint32_t>(sessions_.addresses())) {
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
    const Session& session = *sessions_.find(address);
    enforcer_.admit(session);
    if (clientState(session, findProfile(session.profile), now()) == portal::kStateNormal) {
      putDue(session);
    } else {
      due_.put(address, now());
    }
  }
  lastWrittenAt_ = lastTidiedAt_ = present.uptimeSecs;
  spdlog::info("{} sessions kept", sessions_.size());
}

void Ledger::takeCounters(std::uint32_t address) {
  const std::optional<Counters> counters = enforcer_.counters(address);
  if (counters && sessions_.count(address, *counters)) touch(address, now());
}

void Ledger::putDue(const Session& session) {
  const auto next = nextChange(session, findProfile(session.profile), now());
  if (next) due_.put(session.address, *next);
}

std::set<std::uint32_t> Ledger::takeDue() {
  const std::vector<std::uint32_t> due = due_.take(now());
  const std::vector<std::uint32_t> counted = enforcer_.takeCounted();
  if (std::exchange(allDue_, false)) return sessions_.addresses();
  std::set<std::uint32_t> all(due.begin(), due.end());
  all.insert(counted.begin(), counted.end());
  all.insert(displaced_.begin(), displaced_.end());
  return all;
}

void Ledger::endOverdue(const std::set<std::uint32_t>& due) {
  for (const std::uint32_t address : due) {
    takeCounters(address);
    const Session* session = sessions_.find(address);
    if (!session) continue;
    if (const auto reason = overdue(*session, now())) {
      end(address, *reason);
    } else if (displaced_.count(address) != 0) {
      end(address, EndReason::kOtherDevice);
    }
  }
}

void Ledger::announceStates(const std::set<std::uint32_t>& due) {
  for (const std::uint32_t address : due) {
    const Session* session = sessions_.find(address);
    if (!session) continue;
    announceState(*session);
    putDue(*session);
  }
}

void Ledger::announceState(const Session& session) {
  const portal::ClientState state = clientState(session, findProfile(session.profile), now());
  const auto known = announced_.find(session.address);
  if (state == (known == announced_.end() ? portal::kStateNormal : known->second)) return;
  if (state == portal::kStateNormal) {
    announced_.erase(known);
  } else {
    announced_[session.address] = state;
  }
  enforcer_.stateChanged(session.address, state);
}

void Ledger::putAnchor() {
  const TimeAnchor anchor = anchorNow(clock_);
  store_.putAnchor(anchor);
  afterCommit_.push_back([this, anchor] { anchor_ = anchor; });
}

void Ledger::writeUnwritten() {
  const std::vector<std::uint32_t> addresses = sessions_.unwritten(std::min(toWrite_, kMaxWritten));
  for (const std::uint32_t address : addresses) {
    const Session* session = sessions_.find(address);
    if (session) store_.putSession(*session);
  }
  putAnchor();
  afterCommit_.push_back([this, count = addresses.size()] {
    sessions_.written(count);
    toWrite_ -= count;
    if (toWrite_ == 0) lastWrittenAt_ = now();
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
    sweepDue();
  } catch (const std::bad_alloc&) {
    // Whom it was about may be forgotten half-way.
    allDue_ = true;
    throw;
  }
}

void Ledger::sweepDue() {
  const std::set<std::uint32_t> due = takeDue();
  try {
    endOverdue(due);
    tidy();
    // An idle hotspot leaves its disk alone.
    if (toWrite_ == 0 && now() - lastWrittenAt_ >= kWriteIntervalSecs) {
      toWrite_ = sessions_.unwritten();
    }
    if (toWrite_ != 0) writeUnwritten();
    const std::int64_t setBySecs = (wallNow() - now()) - (anchor_.wallSecs - anchor_.uptimeSecs);
    if (setBySecs > kClockSetSecs || setBySecs < -kClockSetSecs) putAnchor();
    commit();
  } catch (...) {
    rollback();
    // The store could not be told, but time is up for these clients all the same.
    for (const std::uint32_t address : due) {
      const Session* session = sessions_.find(address);
      if (!session) continue;
      due_.put(address, now());
      if (overdue(*session, now())) enforcer_.dismiss(address);
    }
    throw;
  }
  announceStates(due);
}

void Ledger::settle() {
  toWrite_ = sessions_.unwritten();
  try {
    do {
      writeUnwritten();
      commit();
    } while (toWrite_ != 0);
  } catch (...) {
    rollback();
    throw;
  }
  store_.checkpoint();
}

}  // namespace manager
