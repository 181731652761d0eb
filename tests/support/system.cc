#include "tests/support/system.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "host/message.h"

namespace fake {

namespace {

std::atomic<std::size_t> lastHostNameBuffer;

}  // namespace

System& theSystem() {
  static System system;
  return system;
}

std::size_t hostNameBuffer() { return lastHostNameBuffer; }

}  // namespace fake

std::uint32_t nv::getUptime() { return fake::theSystem().uptime; }

// As the C library's: a name that fills the buffer comes without a NUL behind it.
extern "C" int gethostname(char* buffer, std::size_t size) noexcept {
  const fake::System& system = fake::theSystem();
  fake::lastHostNameBuffer = size;
  if (system.hostNameFails) {
    errno = EFAULT;
    return -1;
  }
  const std::size_t length = std::min(system.hostName.size() + 1, size);
  std::copy_n(system.hostName.c_str(), length, buffer);
  return 0;
}
