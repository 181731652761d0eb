#include "manager/fail_stop.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace manager {

const char* reasonOf(const std::exception& error) noexcept {
  return dynamic_cast<const std::bad_alloc*>(&error) ? "out of memory" : error.what();
}

void failStop(const std::exception& error) noexcept {
  std::fprintf(stderr, "hotspot-manager: cannot go on and ends: %s\n", reasonOf(error));
  std::_Exit(1);
}

}  // namespace manager
