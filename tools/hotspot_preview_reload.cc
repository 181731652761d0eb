#include "tools/hotspot_preview_reload.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace preview {
namespace {

// Saving a file is several events; so is copying a directory.
constexpr std::chrono::milliseconds kSettle(100);
// How often a directory that is gone is looked for.
constexpr std::chrono::milliseconds kLookAgain(500);

int duplicate(int fd) {
  const int copy = dup(fd);
  if (copy < 0) throw std::system_error(errno, std::generic_category(), "files cannot be watched");
  return copy;
}

}  // namespace

Reloader::Reloader(boost::asio::io_context& io, const std::filesystem::path& directory,
                   Changed changed)
    : watch_(directory),
      events_(io, duplicate(watch_.fd())),
      timer_(io),
      wasThere_(watch_.isThere()),
      changed_(std::move(changed)) {
  wait();
}

void Reloader::wait() {
  events_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                     [this](const boost::system::error_code& error) {
                       if (error) return;
                       if (watch_.take()) schedule(kSettle);
                       wait();
                     });
}

void Reloader::schedule(std::chrono::milliseconds after) {
  if (isScheduled_) return;
  isScheduled_ = true;
  timer_.expires_after(after);
  timer_.async_wait([this](const boost::system::error_code& error) {
    if (error) return;
    isScheduled_ = false;
    look();
  });
}

void Reloader::look() {
  const bool isNew = watch_.rescan();
  const std::set<std::string> files = watch_.takeChanged();
  // While the directory is gone it is said once.
  if (watch_.isThere() || wasThere_) {
    changed_(files, watch_.isThere() ? watch_.problem() : "the directory is gone");
  }
  wasThere_ = watch_.isThere();
  if (!wasThere_) {
    schedule(kLookAgain);
  } else if (isNew) {
    // What came into a new directory before it was watched has been seen just now; what came while
    // it was looked at may not.
    schedule(kSettle);
  }
}

}  // namespace preview
