#include "manager/batch.h"

#include <spdlog/spdlog.h>

#include <boost/asio/post.hpp>
#include <exception>
#include <utility>

namespace manager {

Batch::Batch(boost::asio::io_context& loop, Ledger& ledger) : loop_(loop), ledger_(ledger) {}

void Batch::submit(Work work) {
  pending_.push_back(std::move(work));
  if (scheduled_) return;
  scheduled_ = true;
  // Behind the handlers that are ready already: what they read joins this batch.
  boost::asio::post(loop_, [this] { run(); });
}

void Batch::run() {
  scheduled_ = false;
  const std::vector<Work> batch = std::exchange(pending_, {});
  std::vector<nv::message> replies;
  Failure failure = kFailInternal;
  if (tryRun(batch.data(), batch.size(), &replies, &failure)) {
    for (std::size_t i = 0; i < batch.size(); ++i) batch[i].respond(replies[i]);
    return;
  }
  for (const Work& work : batch) {
    replies.clear();
    const bool again = batch.size() > 1 && tryRun(&work, 1, &replies, &failure);
    work.respond(again ? replies[0] : work.failed(failure));
  }
}

bool Batch::tryRun(const Work* first, std::size_t count, std::vector<nv::message>* replies,
                   Failure* failure) {
  try {
    for (std::size_t i = 0; i < count; ++i) replies->push_back(first[i].run());
    ledger_.commit();
    return true;
  } catch (const StoreError& error) {
    report(error.what());
    *failure = kFailStore;
  } catch (const std::exception& error) {
    report(error.what());
    *failure = kFailInternal;
  }
  ledger_.rollback();
  return false;
}

void Batch::report(const std::string& what) {
  // A full disk fails every request: a line a second is enough to say so.
  if (reportedAt_ == ledger_.now()) return;
  reportedAt_ = ledger_.now();
  spdlog::error("request failed, nothing of it is kept: {}", what);
}

}  // namespace manager
