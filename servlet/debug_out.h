// The module's way to the host's debug stream (host/debug.h).

#ifndef SERVLET_DEBUG_OUT_H_
#define SERVLET_DEBUG_OUT_H_

#include <ostream>
#include <string_view>

// Writes a line piece by piece: each piece (a text, a number, the closing endl) tests both
// switches, takes DOUTMutex, is written and releases it, so pieces of lines of concurrent requests
// may interleave. While either switch is zero nothing is written and the mutex is not taken.
// Example:
//   DebugOut() << "HSrv query: " << page << std::endl;
class DebugOut {
 public:
  const DebugOut& operator<<(std::string_view text) const;
  const DebugOut& operator<<(unsigned number) const;
  const DebugOut& operator<<(std::ostream& (*manipulator)(std::ostream&)) const;
};

// The line about a request that tries to leave the page directory: who noticed, what the value is,
// the value.
void logHackingAttempt(std::string_view noticed, std::string_view label, std::string_view value);

#endif  // SERVLET_DEBUG_OUT_H_
