#include "tools/hotspot_lint_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>

#include "host/response.h"
#include "tools/hotspot_lint_html.h"
#include "tools/page_names.h"

namespace lint {
namespace {

constexpr std::size_t kMostFiles = 10000;
constexpr std::size_t kMostLevels = 16;

std::string reason(int error) { return std::generic_category().message(error); }

// Content types of texts that people write.
bool isTextType(const std::string& type) {
  return type.starts_with("text/") || type == "application/json" || type == "image/svg+xml";
}

// At most `size` bytes; false, with errno, when reading fails.
bool readText(const std::string& path, std::uintmax_t size, std::string* text) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return false;
  text->resize(size);
  std::size_t done = 0;
  ssize_t got = 1;
  while (done < size && (got = read(fd, text->data() + done, size - done)) > 0) {
    done += static_cast<std::size_t>(got);
  }
  const int error = errno;
  text->resize(done);
  close(fd);
  errno = error;
  return got >= 0;
}

class Reader {
 public:
  explicit Reader(const std::filesystem::path& top) : top_(top.string() + "/") {}

  std::vector<PageFile> read() {
    struct stat info;
    if (stat(top_.c_str(), &info) != 0) throw CannotRead(top_ + ": " + reason(errno));
    readDirectory("", info);
    std::sort(files_.begin(), files_.end(),
              [](const PageFile& a, const PageFile& b) { return a.name < b.name; });
    return std::move(files_);
  }

 private:
  // `below` is empty or ends with '/'.
  void readDirectory(const std::string& below, const struct stat& own) {
    for (const struct stat& outer : outer_) {
      if (outer.st_dev == own.st_dev && outer.st_ino == own.st_ino) return;  // a circle of links
    }
    if (outer_.size() == kMostLevels) throw CannotRead(top_ + below + ": more than 16 levels deep");
    outer_.push_back(own);
    for (const std::string& name : namesIn(below)) readEntry(below + name);
    outer_.pop_back();
  }

  std::vector<std::string> namesIn(const std::string& below) {
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir((top_ + below).c_str()), closedir);
    if (!dir) {
      if (below.empty()) throw CannotRead(top_ + ": " + reason(errno));
      addProblem(below.substr(0, below.size() - 1),
                 "the directory cannot be read: " + reason(errno));
      return {};
    }
    std::vector<std::string> names;
    while (const dirent* entry = readdir(dir.get())) {
      if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  PageFile& addFile(const std::string& name) {
    if (files_.size() == kMostFiles) {
      throw CannotRead(top_ + ": more than 10000 files; is this a page directory?");
    }
    PageFile& file = files_.emplace_back();
    file.name = name;
    const std::string type = getContentType(name, &file.isRendered);
    file.isText = isTextType(type);
    file.isHtml = file.isRendered && type == "text/html";
    const std::string base = file.baseName();
    constexpr std::string_view kHtml = ".html";
    if (base.ends_with(kHtml)) {
      const std::string page = base.substr(0, base.size() - kHtml.size());
      if (pages::findPage(page) != nullptr) file.page = page;
    }
    return file;
  }

  void addProblem(const std::string& name, const std::string& problem) {
    addFile(name).problem = problem;
  }

  void readEntry(const std::string& name) {
    const std::string path = top_ + name;
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
      addProblem(name, "cannot be looked at: " + reason(errno));
    } else if (S_ISDIR(info.st_mode)) {
      if (getsPageName(name)) addProblem(name, "is a directory");
      readDirectory(name + "/", info);
    } else if (!S_ISREG(info.st_mode)) {
      addProblem(name, "is no regular file");
    } else {
      readFile(name, path, info);
    }
  }

  static bool getsPageName(const std::string& name) {
    bool isRendered = false;
    getContentType(name, &isRendered);
    return isRendered;
  }

  void readFile(const std::string& name, const std::string& path, const struct stat& info) {
    PageFile& file = addFile(name);
    file.size = static_cast<std::uintmax_t>(info.st_size);
    if (access(path.c_str(), R_OK) != 0) {
      file.problem = "cannot be read: " + reason(errno);
    } else if (file.isText && file.size <= kMostTextBytes) {
      if (!readText(path, file.size, &file.text)) file.problem = "cannot be read: " + reason(errno);
    } else {
      file.isText = false;
    }
  }

  const std::string top_;  // with '/' at its end
  std::vector<PageFile> files_;
  std::vector<struct stat> outer_;
};

}  // namespace

std::vector<PageFile> readPageFiles(const std::filesystem::path& directory) {
  return Reader(directory).read();
}

}  // namespace lint
