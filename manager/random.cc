#include "manager/random.h"

#include <sys/random.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace manager {

std::string randomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  // Up to 256 bytes come whole or not at all, and a signal cannot cut them short.
  if (getrandom(bytes.data(), count, 0) != static_cast<ssize_t>(count)) {
    throw std::system_error(errno, std::generic_category(), "getrandom");
  }
  return bytes;
}

std::uint32_t randomNonZero() {
  std::uint32_t number = 0;
  while (number == 0) std::memcpy(&number, randomBytes(sizeof number).data(), sizeof number);
  return number;
}

}  // namespace manager
