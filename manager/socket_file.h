// A listening SOCK_SEQPACKET socket in the file system.

#ifndef MANAGER_SOCKET_FILE_H_
#define MANAGER_SOCKET_FILE_H_

#include <sys/types.h>

#include <optional>
#include <string>

namespace manager {

// Owns the descriptor and the file.
class SocketFile {
 public:
  // Creates the file with mode 0660 and, where given, that group, and listens on it. A socket file
  // that is there already is replaced only when nobody answers on it. Throws std::runtime_error
  // with one line that names the file.
  SocketFile(const std::string& path, const std::optional<gid_t>& group);
  // Closes the descriptor and removes the file, unless another process has replaced it meanwhile.
  ~SocketFile();
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;

  int descriptor() const { return descriptor_; }
  const std::string& path() const { return path_; }

 private:
  void bindFile();
  void noteFile();
  bool isOurFile() const;

  std::string path_;
  int descriptor_ = -1;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace manager

#endif  // MANAGER_SOCKET_FILE_H_
