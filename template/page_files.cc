// Answers from the page directory: a file found, mapped and sent, rendered when it is a template.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ostream>
#include <utility>

#include "servlet/debug_out.h"
#include "servlet/hs_conn.h"

namespace {

// Files of 2 GiB and more are not found, as on a machine whose file offsets have 32 bits.
constexpr off_t kMaxFileBytes = 0x7FFFFFFF;

// An open file, mapped read-only; both end with the object, the mapping first.
class MappedFile {
 public:
  MappedFile() = default;
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile() {
    if (data_ != MAP_FAILED) munmap(data_, size_);
    if (fd_ >= 0) close(fd_);
  }

  bool openFile(const char* path) {
    fd_ = open(path, O_RDONLY | O_CLOEXEC);
    return fd_ >= 0;
  }

  // A file without content has no mapping, and is mapped well. One that cannot be mapped is closed
  // at once; errno says why.
  bool map(std::size_t size) {
    size_ = size;
    if (size == 0) return true;
    data_ = mmap(nullptr, size, PROT_READ, MAP_SHARED | MAP_POPULATE, fd_, 0);
    // No text can lie at the null address: a mapping there counts as none.
    if (data_ == nullptr) data_ = MAP_FAILED;
    if (data_ != MAP_FAILED) return true;
    const int why = errno;
    close(std::exchange(fd_, -1));
    errno = why;
    return false;
  }

  const char* data() const { return size_ == 0 ? "" : static_cast<const char*>(data_); }

 private:
  int fd_ = -1;
  void* data_ = MAP_FAILED;
  std::size_t size_ = 0;
};

bool exists(const std::string& path, struct stat* info) {
  return stat(path.c_str(), info) == 0 && info->st_size <= kMaxFileBytes;
}

}  // namespace

void HsConn::showFile(const std::string& name, std::string bkname) {
  if (name.find("..") != std::string::npos) {
    logHackingAttempt("showFile: possible hacking attempt", ", filename = ", name);
    resp.sendError(404, "");
    return;
  }

  struct stat info;
  std::string path;
  const auto find = [&](const std::string& dir, const std::string& file) {
    path = dir + file;
    return exists(path, &info);
  };
  const std::string target = htmlDir + targetDir;
  if (!find(target, name) && (bkname.empty() || !find(target, bkname)) && !find(htmlDir, name) &&
      (bkname.empty() || !find(htmlDir, bkname))) {
    DebugOut() << "showFile: file not found, targetDir=" << targetDir << ", name=" << name
               << ", bkname=" << bkname << std::endl;
    resp.sendError(404, "");
    return;
  }
  if (!S_ISREG(info.st_mode)) {
    DebugOut() << "showFile: file " << path << " is not a regular file!" << std::endl;
    resp.sendError(404, "");
    return;
  }

  MappedFile file;
  if (!file.openFile(path.c_str())) {
    const char* const why = std::strerror(errno);
    DebugOut() << "showFile: failed to open file " << path << ": " << why << std::endl;
    resp.sendError(404, "");
    return;
  }
  const std::size_t size = static_cast<std::size_t>(info.st_size);
  if (!file.map(size)) {
    const char* const why = std::strerror(errno);
    DebugOut() << "showFile: failed to mmap file " << path << ": " << why << std::endl;
    resp.sendError(404, "");
    return;
  }

  // By the name that was asked for, also when the fallback was taken.
  bool rendered = false;
  const std::string type = getContentType(name, &rendered);
  resp.headers.addHeader("Content-Type", type, false);
  if (rendered && (type == "text/html" || type == "text/plain")) {
    useEnv(file.data(), static_cast<unsigned>(size), *resp.getBufferedOutput(true), true);
  } else {
    resp.headers.addHeader("Content-Length", static_cast<int>(size), false);
    resp.getOutput()->write(file.data(), static_cast<std::streamsize>(size));
  }
}

void HsConn::showPage(std::string page, std::string bkpage) {
  if (isAgent) {
    showAgentPage();
    return;
  }
  resp.headers.addHeader("Cache-Control", "no-cache", false);
  showFile(page + ".html", bkpage.empty() ? std::string() : bkpage + ".html");
}

void HsConn::showAgentPage() {
  std::ostream& out = *resp.getBufferedOutput(true);
  for (const auto& [name, value] : env) {
    // A line feed would end the line.
    if (name.empty() || value.empty() || value.find('\n') != std::string::npos) continue;
    out << name << ": " << value << "\r\n";
  }
  resp.headers.addHeader("Content-Type", "application/vnd.quarnett.hotspot", false);
}
