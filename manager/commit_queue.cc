#include "manager/commit_queue.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <exception>
#include <functional>
#include <iterator>
#include <utility>

#include "manager/fail_stop.h"

namespace manager {

namespace {

// Entries of clients' activity that may wait beside others of the same clients.
constexpr std::size_t kMaxSeenTwice = 4096;

}  // namespace

CommitQueue::CommitQueue(boost::asio::io_context& loop, Ledger& ledger, View& view)
    : loop_(loop), ledger_(ledger), view_(view) {
  view_.apply(ledger_.takeChanges());
  thread_ = std::thread([this] { serve(); });
}

CommitQueue::~CommitQueue() { finish(); }

void CommitQueue::submit(Work work) {
  if (waiting_ >= kMaxWaiting) {
    boost::asio::post(loop_, [done = std::move(work.done)] {
      done({kFailOverloaded, "too many requests wait for the database"});
    });
    return;
  }
  push(std::move(work), false);
}

void CommitQueue::sweep(std::function<void(const Outcome&)> done) {
  push({[this] { ledger_.sweep(); }, std::move(done)}, true);
}

void CommitQueue::push(Work work, bool alone) {
  Entries entry;
  entry.push_back({std::move(work), alone, {}});
  // Should it get lost for want of memory: who goes on being active is seen again.
  SeenClients seen = view_.takeSeen();
  {
    const std::lock_guard lock(mutex_);
    keepSeen(std::move(seen));
    entries_.splice(entries_.end(), entry);
  }
  ++waiting_;
  wake_.notify_one();
}

// REQUIRES: mutex_ is held.
void CommitQueue::keepSeen(SeenClients seen) {
  auto& active = seen_.activeAt;
  if (active.empty()) {
    active.swap(seen.activeAt);
    seenOnce_ = active.size();
  } else {
    active.insert(active.end(), seen.activeAt.begin(), seen.activeAt.end());
  }
  for (auto& [address, mac] : seen.otherMac) seen_.otherMac[address] = std::move(mac);
  if (active.size() < 2 * seenOnce_ + kMaxSeenTwice) return;
  // The storage thread does not come: of each client the last moment is enough.
  std::sort(active.begin(), active.end(), std::greater<>());
  const auto sameClient = [](const auto& a, const auto& b) { return a.first == b.first; };
  active.erase(std::unique(active.begin(), active.end(), sameClient), active.end());
  seenOnce_ = active.size();
}

void CommitQueue::finish() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    finishing_ = true;
  }
  wake_.notify_one();
  thread_.join();
  tellLedger(view_.takeSeen());
}

void CommitQueue::serve() {
  try {
    for (;;) {
      SeenClients seen;
      {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [this] { return !entries_.empty() || finishing_; });
        if (entries_.empty()) return;
        takeGroup();
        std::swap(seen, seen_);
      }
      tellLedger(seen);
      runGroup();
      handBack();
    }
  } catch (const std::exception& error) {
    // Of the group nobody knows any more what is committed and what the view shows of it.
    failStop(error);
  }
}

// REQUIRES: mutex_ is held.
void CommitQueue::takeGroup() {
  auto end = std::next(entries_.begin());
  if (!entries_.front().alone) {
    const auto isAlone = [](const Entry& entry) { return entry.alone; };
    const auto most = static_cast<std::ptrdiff_t>(std::min(kMaxGroup, entries_.size()));
    end = std::find_if(end, std::next(entries_.begin(), most), isAlone);
  }
  group_.splice(group_.end(), entries_, entries_.begin(), end);
}

void CommitQueue::tellLedger(const SeenClients& seen) {
  for (const auto& [address, at] : seen.activeAt) ledger_.touch(address, at);
  for (const auto& [address, mac] : seen.otherMac) ledger_.displace(address, mac);
}

void CommitQueue::runGroup() {
  const Outcome together = tryRun(group_.begin(), group_.end());
  if (!together.failure) return;
  if (group_.front().alone) {
    group_.front().outcome = together;
    return;
  }
  ledger_.store().makeRoom();
  for (auto entry = group_.begin(); entry != group_.end(); ++entry) {
    entry->outcome = tryRun(entry, std::next(entry));
    if (entry->outcome.failure) report(entry->outcome.reason);
  }
}

// The work goes back with its results: what it holds (connections) is the loop thread's.
void CommitQueue::handBack() {
  Group group;
  group.changes = ledger_.takeChanges();
  {
    const std::lock_guard lock(mutex_);
    over_.push_back(std::move(group));
    over_.back().entries.swap(group_);
  }
  boost::asio::post(loop_, [this] { tell(); });
}

void CommitQueue::tell() {
  std::list<Group> over;
  {
    const std::lock_guard lock(mutex_);
    over.splice(over.end(), over_, over_.begin());
  }
  view_.apply(std::move(over.front().changes));
  for (const Entry& entry : over.front().entries) {
    --waiting_;
    try {
      entry.work.done(entry.outcome);
    } catch (const std::exception& error) {
      spdlog::error("a request was carried out and not answered: {}", reasonOf(error));
    }
  }
}

Outcome CommitQueue::tryRun(Entries::const_iterator first, Entries::const_iterator end) {
  Outcome outcome;
  try {
    for (; first != end; ++first) first->work.run();
    ledger_.commit();
    return outcome;
  } catch (const StoreError& error) {
    outcome = {kFailStore, error.what()};
  } catch (const std::exception& error) {
    outcome = {kFailInternal, reasonOf(error)};
  }
  ledger_.rollback();
  return outcome;
}

void CommitQueue::report(const std::string& reason) {
  // A full disk fails every request: a line a second is enough to say so.
  if (reportedAt_ == ledger_.now()) return;
  reportedAt_ = ledger_.now();
  spdlog::error("request failed, nothing of it is kept: {}", reason);
}

}  // namespace manager
