// A request's place among those that may wait at once.

#ifndef WEBSERVER_WAITING_H_
#define WEBSERVER_WAITING_H_

#include "webserver/loop.h"
#include "webserver/shared_counters.h"

namespace web {

// Belongs to the thread that serves the request.
class Waiting {
 public:
  Waiting(Loop& loop, SharedCounters& counters, unsigned part)
      : loop_(loop), counters_(counters), part_(part) {}
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;
  ~Waiting() { leave(); }

  // Takes a place. False when `maxAll` are taken, over all workers: the request is then refused.
  bool enter(unsigned maxAll) {
    leave();
    entered_ = counters_.enterWait(part_, maxAll);
    if (!entered_) refused_ = true;
    return entered_;
  }

  void leave() {
    if (entered_) counters_.leaveWait(part_);
    entered_ = false;
  }

  // Lets another thread lead the loop before this one blocks. False when there is no thread to be
  // had: the request is then refused.
  bool stepAside() {
    if (!loop_.stepAside()) refused_ = true;
    return !refused_;
  }

  // The request is to be answered with 503.
  bool refused() const { return refused_; }

 private:
  Loop& loop_;
  SharedCounters& counters_;
  const unsigned part_;
  bool entered_ = false;
  bool refused_ = false;
};

}  // namespace web

#endif  // WEBSERVER_WAITING_H_
