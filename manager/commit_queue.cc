#include "manager/commit_queue.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <utility>

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
  push({std::move(work), false});
}

void CommitQueue::sweep(std::function<void(const Outcome&)> done) {
  push({{[this] { ledger_.sweep(); }, std::move(done)}, true});
}

void CommitQueue::push(Entry entry) {
  ++waiting_;
  SeenClients seen = view_.takeSeen();
  {
    const std::lock_guard lock(mutex_);
    keepSeen(std::move(seen));
    entries_.push_back(std::move(entry));
  }
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
  for (;;) {
    std::vector<Entry> group;
    SeenClients seen;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return !entries_.empty() || finishing_; });
      if (entries_.empty()) return;
      group = takeGroup();
      std::swap(seen, seen_);
    }
    tellLedger(seen);
    runGroup(std::move(group));
  }
}

std::vector<CommitQueue::Entry> CommitQueue::takeGroup() {
  std::size_t count = 1;
  if (!entries_.front().alone) {
    const std::size_t most = std::min(kMaxGroup, entries_.size());
    while (count < most && !entries_[count].alone) ++count;
  }
  const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(count);
  std::vector<Entry> group(std::make_move_iterator(entries_.begin()), std::make_move_iterator(end));
  entries_.erase(entries_.begin(), end);
  return group;
}

void CommitQueue::tellLedger(const SeenClients& seen) {
  for (const auto& [address, at] : seen.activeAt) ledger_.touch(address, at);
  for (const auto& [address, mac] : seen.otherMac) ledger_.displace(address, mac);
}

void CommitQueue::runGroup(std::vector<Entry> group) {
  struct Result {
    std::vector<Entry> group;
    std::vector<Outcome> outcomes;
    Changes changes;
  };
  auto result = std::make_shared<Result>();
  result->group = std::move(group);
  const std::vector<Entry>& entries = result->group;
  const Outcome together = tryRun(entries.data(), entries.size());
  result->outcomes.assign(entries.size(), together);
  if (together.failure && !entries.front().alone) {
    ledger_.store().makeRoom();
    for (std::size_t i = 0; i < entries.size(); ++i) {
      result->outcomes[i] = tryRun(&entries[i], 1);
      if (result->outcomes[i].failure) report(result->outcomes[i].reason);
    }
  }
  result->changes = ledger_.takeChanges();
  // The work goes back with its results, and the last reference to it: what it holds (connections)
  // is the loop thread's.
  boost::asio::post(loop_, [this, result = std::move(result)] {
    view_.apply(std::move(result->changes));
    for (std::size_t i = 0; i < result->group.size(); ++i) {
      --waiting_;
      try {
        result->group[i].work.done(result->outcomes[i]);
      } catch (const std::exception& error) {
        spdlog::error("a request was carried out and not answered: {}", error.what());
      }
    }
  });
}

Outcome CommitQueue::tryRun(const Entry* first, std::size_t count) {
  Outcome outcome;
  try {
    for (std::size_t i = 0; i < count; ++i) first[i].work.run();
    ledger_.commit();
    return outcome;
  } catch (const StoreError& error) {
    outcome = {kFailStore, error.what()};
  } catch (const std::exception& error) {
    outcome = {kFailInternal, error.what()};
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
