#include "manager/socket_file.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace manager {

namespace {

constexpr mode_t kMode = 0660;
constexpr int kBacklog = 128;

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw std::runtime_error("socket " + path + ": " + what);
}

[[noreturn]] void failErrno(const std::string& path, const char* what) {
  fail(path, std::string(what) + ": " + std::strerror(errno));
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    fail(path, "the path must have 1 to " + std::to_string(sizeof address.sun_path - 1) + " bytes");
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

// Removes a socket file that a killed process left behind.
void removeStale(const std::string& path, const sockaddr_un& address) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) failErrno(path, "cannot look at the file");
  if (!S_ISSOCK(status.st_mode)) fail(path, "there is a file of that name that is no socket");
  const int probe = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe < 0) failErrno(path, "cannot make a socket");
  const bool refused = connect(probe, generic(address), sizeof address) != 0 &&
                       (errno == ECONNREFUSED || errno == ENOENT);
  close(probe);
  if (!refused) fail(path, "another process listens on it; is a manager running already?");
  if (unlink(path.c_str()) != 0 && errno != ENOENT)
    failErrno(path, "cannot replace the stale file");
}

}  // namespace

SocketFile::SocketFile(const std::string& path, const std::optional<gid_t>& group) : path_(path) {
  descriptor_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor_ < 0) failErrno(path, "cannot make a socket");
  try {
    bindFile();
    noteFile();
    const uid_t sameOwner = static_cast<uid_t>(-1);
    if (group && chown(path.c_str(), sameOwner, *group) != 0) {
      failErrno(path, "cannot set its group");
    }
    if (chmod(path.c_str(), kMode) != 0) failErrno(path, "cannot set its mode");
    if (listen(descriptor_, kBacklog) != 0) failErrno(path, "cannot listen");
  } catch (...) {
    close(descriptor_);
    if (isOurFile()) unlink(path.c_str());
    throw;
  }
}

SocketFile::~SocketFile() {
  close(descriptor_);
  if (isOurFile()) unlink(path_.c_str());
}

void SocketFile::bindFile() {
  const sockaddr_un address = addressOf(path_);
  // Nobody but the owner gets in before mode and group are right.
  const mode_t before = umask(0177);
  int result = bind(descriptor_, generic(address), sizeof address);
  if (result != 0 && errno == EADDRINUSE) {
    try {
      removeStale(path_, address);
    } catch (...) {
      umask(before);
      throw;
    }
    result = bind(descriptor_, generic(address), sizeof address);
  }
  const int error = errno;
  umask(before);
  errno = error;
  if (result != 0) failErrno(path_, "cannot listen");
}

void SocketFile::noteFile() {
  struct stat status {};
  if (lstat(path_.c_str(), &status) != 0) failErrno(path_, "cannot look at the file");
  device_ = status.st_dev;
  inode_ = status.st_ino;
}

bool SocketFile::isOurFile() const {
  struct stat status {};
  return inode_ != 0 && lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ &&
         status.st_ino == inode_;
}

}  // namespace manager
