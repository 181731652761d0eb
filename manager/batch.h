// Requests that arrive together share one commit, and none is answered before it.

#ifndef MANAGER_BATCH_H_
#define MANAGER_BATCH_H_

#include <boost/asio/io_context.hpp>
#include <functional>
#include <string>
#include <vector>

#include "host/message.h"
#include "manager/failures.h"
#include "manager/ledger.h"

namespace manager {

// One request, after everything that it had to wait for.
struct Work {
  // Does it and gives the reply. May run twice: when the commit of a batch fails, all of it is
  // undone and each request runs once more by itself.
  std::function<nv::message()> run;
  // The reply when that failed as well: kFailStore or kFailInternal.
  std::function<nv::message(const Failure&)> failed;
  std::function<void(const nv::message&)> respond;
};

// Loop thread only.
class Batch {
 public:
  Batch(boost::asio::io_context& loop, Ledger& ledger);

  // Puts the request into the batch that runs when everything that is readable now has been read.
  void submit(Work work);

 private:
  void run();
  // True with the replies of a committed run; false when it failed and was undone.
  bool tryRun(const Work* first, std::size_t count, std::vector<nv::message>* replies,
              Failure* failure);
  void report(const std::string& what);

  boost::asio::io_context& loop_;
  Ledger& ledger_;
  std::vector<Work> pending_;
  bool scheduled_ = false;
  std::int64_t reportedAt_ = -1;
};

}  // namespace manager

#endif  // MANAGER_BATCH_H_
