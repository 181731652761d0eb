// The storage thread: everything that needs the store is done there, in groups that share a commit,
// and nothing is answered before its commit. A slow disk holds up this queue and nothing else.

#ifndef MANAGER_COMMIT_QUEUE_H_
#define MANAGER_COMMIT_QUEUE_H_

#include <boost/asio/io_context.hpp>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "manager/failures.h"
#include "manager/ledger.h"
#include "manager/view.h"

namespace manager {

// What became of a piece of work: without a failure it was done and is on the disk.
struct Outcome {
  std::optional<Failure> failure;  // kFailStore, kFailInternal or kFailOverloaded
  std::string reason;              // for the log
};

struct Work {
  // Does it; storage thread. Throws to have everything it did undone. May run twice: when the
  // commit of a group fails, all of it is undone and each piece runs once more by itself.
  std::function<void()> run;
  // Called once on the loop thread, when the view shows what the work has changed. What it holds is
  // the loop thread's, and ends there.
  std::function<void(const Outcome&)> done;
};

// Everything but the storage thread itself is called on the loop thread. From the first submit() to
// the end of finish() the ledger and its store belong to the storage thread alone. When memory is
// missing for work it fails by itself; when it is missing for what concerns a whole group, changes
// that were committed among it, the process ends (fail_stop.h).
class CommitQueue {
 public:
  // Pieces of work that wait or run; further ones fail with kFailOverloaded.
  static constexpr std::size_t kMaxWaiting = 2048;
  // Pieces that share a commit, so that the first of a long queue does not wait for the last.
  static constexpr std::size_t kMaxGroup = 256;

  // REQUIRES: the ledger has started. All three must outlive this object.
  CommitQueue(boost::asio::io_context& loop, Ledger& ledger, View& view);
  ~CommitQueue();
  CommitQueue(const CommitQueue&) = delete;
  CommitQueue& operator=(const CommitQueue&) = delete;

  // Puts the work behind what waits already. `done` is never called within this call; nor later,
  // when this call throws.
  void submit(Work work);
  // Ledger::sweep, a group of its own; not counted against kMaxWaiting.
  void sweep(std::function<void(const Outcome&)> done);

  // Pieces whose `done` is still to come.
  std::size_t waiting() const { return waiting_; }

  // Does what waits and ends the storage thread; the ledger knows everything that the view has seen
  // then. What was done is not told any more unless the loop goes on. Nothing may be submitted
  // afterwards.
  void finish();

 private:
  struct Entry {
    Work work;
    bool alone;  // commits by itself
    Outcome outcome;
  };
  // Lists, since handing entries on must not need memory.
  using Entries = std::list<Entry>;
  struct Group {
    Entries entries;
    Changes changes;
  };

  void push(Work work, bool alone);
  void serve();
  void takeGroup();
  void tellLedger(const SeenClients& seen);
  void keepSeen(SeenClients seen);
  void runGroup();
  // Runs and commits, or undoes and says why not.
  Outcome tryRun(Entries::const_iterator first, Entries::const_iterator end);
  void handBack();
  // A group whose commit is over, on the loop thread.
  void tell();
  void report(const std::string& reason);

  boost::asio::io_context& loop_;
  Ledger& ledger_;
  View& view_;
  std::size_t waiting_ = 0;       // loop thread
  std::int64_t reportedAt_ = -1;  // storage thread
  Entries group_;                 // storage thread: what it is at

  std::mutex mutex_;  // for the next five
  std::condition_variable wake_;
  Entries entries_;
  std::list<Group> over_;
  SeenClients seen_;
  std::size_t seenOnce_ = 0;  // entries of seen_ behind the last tidying
  bool finishing_ = false;

  std::thread thread_;
};

}  // namespace manager

#endif  // MANAGER_COMMIT_QUEUE_H_
