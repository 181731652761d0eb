// Loaded before the C library of a program under test: makes its disk slow, or broken. The
// directory named by SYNC_GATE_DIR says what a sync does: while it holds a file "hold", the sync
// waits (and makes a file "held", so that the test knows); while it holds a file "fail", it fails.

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace {

int pass(const char* name, int descriptor) {
  const char* dir = std::getenv("SYNC_GATE_DIR");
  if (dir) {
    const std::string gate = dir;
    const std::string hold = gate + "/hold";
    const std::string held = gate + "/held";
    while (access(hold.c_str(), F_OK) == 0) {
      close(open(held.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
      usleep(1000);
    }
    if (access((gate + "/fail").c_str(), F_OK) == 0) {
      errno = EIO;
      return -1;
    }
  }
  using Sync = int (*)(int);
  return reinterpret_cast<Sync>(dlsym(RTLD_NEXT, name))(descriptor);
}

}  // namespace

extern "C" int fsync(int descriptor) { return pass("fsync", descriptor); }
extern "C" int fdatasync(int descriptor) { return pass("fdatasync", descriptor); }
