#include "tools/hotspot_replay_pages.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace replay {
namespace {

constexpr char kPlaceholder[] = "$PAGES";

std::string replaceAll(const std::string& text, const std::string& from, const std::string& to) {
  std::string result;
  std::size_t pos = 0;
  for (std::size_t found; (found = text.find(from, pos)) != std::string::npos;) {
    result.append(text, pos, found - pos).append(to);
    pos = found + from.size();
  }
  return result.append(text, pos, std::string::npos);
}

bool namesPageDir(const Scenario& scenario) {
  for (const nv::message& reply : scenario.replies) {
    if (reply.get_string(kPageDirField, "").find(kPlaceholder) != std::string::npos) return true;
  }
  return false;
}

std::string makeDirectory() {
  const char* base = std::getenv("TMPDIR");
  std::string path = base != nullptr && *base != '\0' ? base : "/tmp";
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  path += "/hotspot-replay-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    throw std::runtime_error("no temporary directory " + path + ": " + std::strerror(errno));
  }
  return path;
}

// Gives 0 or an errno value.
int writeFile(const std::string& path, const std::string& content) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) return errno;
  int error = 0;
  for (std::size_t done = 0; done < content.size() && error == 0;) {
    const ssize_t written = write(fd, content.data() + done, content.size() - done);
    if (written >= 0) {
      done += static_cast<std::size_t>(written);
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  if (close(fd) != 0 && error == 0) error = errno;
  return error;
}

}  // namespace

TempDir::~TempDir() { remove(); }

const std::string& TempDir::path() {
  if (path_.empty()) path_ = makeDirectory();
  return path_;
}

void TempDir::clear() {
  std::error_code error;
  std::filesystem::directory_iterator entry(path_, error);
  while (!error && entry != std::filesystem::directory_iterator()) {
    std::filesystem::remove_all(entry->path(), error);
    if (!error) entry.increment(error);
  }
  // What cannot be emptied is not used again.
  if (error) remove();
}

void TempDir::remove() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  path_.clear();
}

PageDir::PageDir(TempDir& temp, const Scenario& scenario) : temp_(temp) {
  if (scenario.pages.empty() && !namesPageDir(scenario)) return;
  path_ = temp_.path();
  try {
    writePages(scenario);
  } catch (...) {
    temp_.clear();
    throw;
  }
}

PageDir::~PageDir() {
  if (!path_.empty()) temp_.clear();
}

std::string PageDir::expand(const std::string& text) const {
  return path_.empty() ? text : replaceAll(text, kPlaceholder, path_);
}

std::string PageDir::conceal(const std::string& text) const {
  return path_.empty() ? text : replaceAll(text, path_, kPlaceholder);
}

void PageDir::writePages(const Scenario& scenario) {
  const Path root;
  const Path pagesPath = root.member("pages");
  for (const PageSpec& page : scenario.pages) {
    const std::string path = path_ + '/' + page.name;
    const std::size_t lastSlash = path.rfind('/');
    const bool hasFolder = lastSlash != path_.size();
    std::error_code error;
    if (!page.content) {
      std::filesystem::create_directories(path, error);
    } else {
      if (hasFolder) std::filesystem::create_directories(path.substr(0, lastSlash), error);
      if (!error) error.assign(writeFile(path, *page.content), std::generic_category());
    }
    if (error) {
      const std::string name = bytesToJson(page.name).get<std::string>();
      pagesPath.member(name).fail("cannot be written: " + error.message());
    }
  }
}

}  // namespace replay
