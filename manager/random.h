// Random bytes from the system.

#ifndef MANAGER_RANDOM_H_
#define MANAGER_RANDOM_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace manager {

// `count` bytes of getrandom(2), at most 256. Throws std::system_error when the system gives none.
std::string randomBytes(std::size_t count);

// A random number other than 0.
std::uint32_t randomNonZero();

}  // namespace manager

#endif  // MANAGER_RANDOM_H_
