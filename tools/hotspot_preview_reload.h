// Tells the gallery of changed files, once for what happens together.

#ifndef TOOLS_HOTSPOT_PREVIEW_RELOAD_H_
#define TOOLS_HOTSPOT_PREVIEW_RELOAD_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "tools/hotspot_preview_watch.h"

namespace preview {

// On the thread of the io_context, as long as the object lives.
class Reloader {
 public:
  // Files that changed, as far as they are known, and what keeps others from being seen; "" when
  // nothing does.
  using Changed =
      std::function<void(const std::set<std::string>& files, const std::string& problem)>;

  // Throws std::system_error when nothing can be watched.
  Reloader(boost::asio::io_context& io, const std::filesystem::path& directory, Changed changed);

 private:
  void wait();
  void schedule(std::chrono::milliseconds after);
  void look();

  DirectoryWatch watch_;
  boost::asio::posix::stream_descriptor events_;
  boost::asio::steady_timer timer_;
  bool isScheduled_ = false;
  bool wasThere_;
  Changed changed_;
};

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_RELOAD_H_
