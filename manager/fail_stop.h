// The end of a manager that cannot go on.

#ifndef MANAGER_FAIL_STOP_H_
#define MANAGER_FAIL_STOP_H_

#include <exception>

namespace manager {

// The exception in words for the log.
const char* reasonOf(const std::exception& error) noexcept;

// Ends the process at once with a line on standard error and status 1: where what is in memory can
// no longer be trusted, or nobody can be told any more. Everything that was answered is in the
// database, and a new start reads it from there. Nothing is tidied up, since whatever did so would
// go by what is no longer true. Allocates nothing.
[[noreturn]] void failStop(const std::exception& error) noexcept;

}  // namespace manager

#endif  // MANAGER_FAIL_STOP_H_
