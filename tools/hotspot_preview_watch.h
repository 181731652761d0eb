// Tells when a file of the page directory has changed.

#ifndef TOOLS_HOTSPOT_PREVIEW_WATCH_H_
#define TOOLS_HOTSPOT_PREVIEW_WATCH_H_

#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace preview {

// Watches a directory and its sub-directories by inotify(7). One thread. The owner waits until fd()
// can be read, calls take(), and once nothing more has come for a moment, rescan().
class DirectoryWatch {
 public:
  // Watches as many directories, and as deep, as a page directory can be.
  static constexpr std::size_t kMostDirectories = 1000;
  static constexpr int kMostLevels = 16;

  // Throws std::system_error when the system has no more inotify instances.
  explicit DirectoryWatch(std::filesystem::path top);
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;
  ~DirectoryWatch();

  int fd() const { return fd_; }

  // Reads what has happened. Gives whether any of it can change what a guest sees.
  bool take();

  // The files that changed since the last call, below the directory, as far as they are known.
  std::set<std::string> takeChanged();

  // Watches what is there now. Gives whether there are directories that were not watched before:
  // files in them may have come unseen. A directory that is gone is watched again by the first call
  // after it is back.
  bool rescan();

  // False while the directory is not there.
  bool isThere() const { return isThere_; }
  // Why some of the directory is not watched; empty when all is.
  const std::string& problem() const { return problem_; }

 private:
  void add(const std::filesystem::path& directory, const std::string& below, int level,
           bool* isNew);

  const std::filesystem::path top_;
  int fd_;
  std::map<int, std::string> directories_;  // by watch; below the top, with a slash, or empty
  std::set<std::string> changed_;
  std::string problem_;
  bool isThere_ = false;
};

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_WATCH_H_
