#include "webserver/loop.h"

#include <pthread.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <semaphore>

#include "webserver/logging.h"

namespace web {

// A thread that waits to lead; lives on that thread's stack.
struct Loop::Spare {
  std::binary_semaphore wake{0};
};

thread_local bool Loop::leading_ = false;

Loop::Loop() = default;
Loop::~Loop() = default;

void Loop::lead() {
  try {
    while (leading_ && !context_.stopped()) context_.run_one();
  } catch (const std::exception& error) {
    // What that handler was to set going again is lost, and other threads may wait inside the
    // module: there is nothing to go back to.
    logFailure("the event loop failed", error.what());
    std::_Exit(1);
  }
}

void Loop::run() {
  // Without it the loop would end as soon as nothing is awaited.
  const auto work = boost::asio::make_work_guard(context_);
  leading_ = true;
  do {
    lead();
  } while (!context_.stopped() && park(false));
  leading_ = false;
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return spareThreads_ == 0; });
  joinEnded();
}

void Loop::stop() {
  const std::lock_guard lock(mutex_);
  stopped_ = true;
  context_.stop();
  for (Spare* spare : parked_) spare->wake.release();
  parked_.clear();
}

bool Loop::park(bool mayEnd) {
  Spare self;
  {
    const std::lock_guard lock(mutex_);
    if (stopped_ || (mayEnd && parked_.size() >= kKeptSpares)) return false;
    parked_.push_back(&self);
  }
  self.wake.acquire();
  const std::lock_guard lock(mutex_);
  leading_ = !stopped_;
  return leading_;
}

bool Loop::stepAside() {
  if (!leading_) return true;
  {
    const std::lock_guard lock(mutex_);
    if (!parked_.empty()) {
      Spare* next = parked_.back();
      parked_.pop_back();
      leading_ = false;
      next->wake.release();
      return true;
    }
    if (!startSpare()) return false;
  }
  leading_ = false;
  return true;
}

// REQUIRES: mutex_ is held.
bool Loop::startSpare() {
  try {
    // All threads there are may park at once, without memory for it.
    parked_.reserve(spareThreads_ + 2);
  } catch (const std::bad_alloc&) {
    return false;
  }
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setstacksize(&attributes, kSpareStackBytes);
  pthread_t thread{};
  const bool started = pthread_create(&thread, &attributes, spareMain, this) == 0;
  pthread_attr_destroy(&attributes);
  if (started) ++spareThreads_;
  return started;
}

void* Loop::spareMain(void* self) {
  Loop& loop = *static_cast<Loop*>(self);
  leading_ = true;
  do {
    loop.lead();
  } while (loop.park(true));
  leading_ = false;
  // Each joins the one before, so that at most one is left for run().
  const std::lock_guard lock(loop.mutex_);
  loop.joinEnded();
  loop.ended_ = pthread_self();
  --loop.spareThreads_;
  loop.changed_.notify_all();
  return nullptr;
}

// Does not wait for long: a thread enters itself in ended_ just before its end.
void Loop::joinEnded() {
  if (ended_) pthread_join(*ended_, nullptr);
  ended_.reset();
}

}  // namespace web
