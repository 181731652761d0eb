#include "tools/hotspot_preview_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace preview {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM |
                                  IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                  IN_ONLYDIR;
constexpr std::size_t kMostChanged = 100;

}  // namespace

DirectoryWatch::DirectoryWatch(fs::path top)
    : top_(std::move(top)), fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (fd_ < 0) {
    throw std::system_error(errno, std::generic_category(), "files cannot be watched");
  }
  rescan();
}

DirectoryWatch::~DirectoryWatch() { close(fd_); }

bool DirectoryWatch::take() {
  alignas(inotify_event) std::array<char, 16384> buffer;
  bool matters = false;
  ssize_t got = 0;
  while ((got = read(fd_, buffer.data(), buffer.size())) > 0) {
    for (ssize_t at = 0; at < got;) {
      inotify_event event;
      std::memcpy(&event, buffer.data() + at, sizeof event);
      const char* const name = buffer.data() + at + sizeof event;
      at += static_cast<ssize_t>(sizeof event + event.len);
      // A directory that is gone: what is in its place, if anything, is watched by the next rescan.
      if ((event.mask & (IN_IGNORED | IN_MOVE_SELF)) != 0) {
        directories_.erase(event.wd);
        if ((event.mask & IN_MOVE_SELF) != 0) inotify_rm_watch(fd_, event.wd);
        matters = true;
        continue;
      }
      if ((event.mask & IN_Q_OVERFLOW) != 0) matters = true;
      // Editors keep their own files beside the one that they write, with a dot in front.
      const bool isHidden = event.len > 0 && name[0] == '.';
      // A new file counts when it has been written.
      const bool isUnwritten = (event.mask & IN_CREATE) != 0 && (event.mask & IN_ISDIR) == 0;
      if (isHidden || isUnwritten) continue;
      matters = true;
      const auto directory = directories_.find(event.wd);
      if (directory != directories_.end() && event.len > 0 && changed_.size() < kMostChanged) {
        changed_.insert(directory->second + name);
      }
    }
  }
  return matters;
}

std::set<std::string> DirectoryWatch::takeChanged() { return std::exchange(changed_, {}); }

bool DirectoryWatch::rescan() {
  problem_.clear();
  bool isNew = false;
  std::error_code error;
  isThere_ = fs::is_directory(top_, error);
  if (isThere_) add(top_, "", 0, &isNew);
  return isNew;
}

void DirectoryWatch::add(const fs::path& directory, const std::string& below, int level,
                         bool* isNew) {
  if (level == kMostLevels) {
    problem_ = below + ": sub-directories below this level are not watched";
    return;
  }
  const int watch = inotify_add_watch(fd_, directory.c_str(), kEvents);
  if (watch < 0) {
    problem_ = directory.string() + " is not watched: " + std::strerror(errno);
    if (errno == ENOSPC) problem_ += " (raise fs.inotify.max_user_watches)";
    return;
  }
  const bool isKnown = !directories_.insert_or_assign(watch, below).second;
  if (!isKnown && directories_.size() > kMostDirectories) {
    directories_.erase(watch);
    inotify_rm_watch(fd_, watch);
    problem_ = "only the first " + std::to_string(kMostDirectories) +
               " sub-directories are watched; is this a page directory?";
    return;
  }
  *isNew = *isNew || !isKnown;
  std::error_code error;
  fs::directory_iterator entry(directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename();
    std::error_code ignored;
    if (name[0] == '.' || !fs::is_directory(entry->path(), ignored)) continue;
    add(entry->path(), below + name + "/", level + 1, isNew);
    if (directories_.size() >= kMostDirectories && !problem_.empty()) return;
  }
}

}  // namespace preview
