// The event loop of a worker process, which one thread at a time leads. A thread that is about to
// block steps aside: a spare thread goes on with the loop, while the one that stepped aside
// finishes what it was doing and then becomes a spare itself.
//
// A handler that stepped aside runs beside the loop from then on. It touches nothing that the
// loop's other handlers touch, and hands the rest of its work back with boost::asio::post.

#ifndef WEBSERVER_LOOP_H_
#define WEBSERVER_LOOP_H_

#include <pthread.h>

#include <boost/asio/io_context.hpp>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <vector>

namespace web {

// Stack of a spare thread.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kSpareStackBytes =
    std::size_t{2048} * 1024;  // instrumented frames are far larger
#else
constexpr std::size_t kSpareStackBytes = std::size_t{256} * 1024;
#endif
// Spares that are kept while there is nothing to do; the ones beyond it end.
constexpr std::size_t kKeptSpares = 16;

class Loop {
 public:
  Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;
  // REQUIRES: run() has returned, or was never called.
  ~Loop();

  boost::asio::io_context& context() { return context_; }

  // Runs the loop until stop(). Returns on the calling thread once every other thread is gone, so a
  // thread that is blocked keeps it from returning. A handler that throws ends the process, with
  // status 1.
  void run();
  // From any thread.
  void stop();

  // Whether the calling thread leads the loop.
  bool leading() const { return leading_; }

  // Called by a handler before it blocks: another thread leads from now on. True, too, when the
  // caller does not lead any more. False when there is no thread to be had; the caller then still
  // leads.
  bool stepAside();

 private:
  struct Spare;
  static void* spareMain(void* self);
  bool startSpare();
  void lead();
  // Waits to be made the leader. False when the thread is to end.
  bool park(bool mayEnd);
  // Waits for the thread that ended last, if any, to be gone with what it kept for itself.
  // REQUIRES: mutex_ is held.
  void joinEnded();

  static thread_local bool leading_;

  boost::asio::io_context context_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Spare*> parked_;  // the last one parked is woken first: its stack is warm
  std::size_t spareThreads_ = 0;
  std::optional<pthread_t> ended_;  // the last one that did; not joined yet
  bool stopped_ = false;
};

}  // namespace web

#endif  // WEBSERVER_LOOP_H_
