#include "servlet/debug_out.h"

#include <pthread.h>

#include <ostream>

#include "host/debug.h"

namespace {

// A stream may throw (out of memory): the mutex is released all the same.
class Hold {
 public:
  Hold() { pthread_mutex_lock(&DOUTMutex); }
  ~Hold() { pthread_mutex_unlock(&DOUTMutex); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
};

template <typename Piece>
void writePiece(Piece piece) {
  if (tdoutEnabled.load(std::memory_order_relaxed) == 0 ||
      tdoutSwitch.load(std::memory_order_relaxed) == 0) {
    return;
  }
  const Hold hold;
  *tdout << piece;
}

}  // namespace

const DebugOut& DebugOut::operator<<(std::string_view text) const {
  writePiece(text);
  return *this;
}

const DebugOut& DebugOut::operator<<(unsigned number) const {
  writePiece(number);
  return *this;
}

const DebugOut& DebugOut::operator<<(std::ostream& (*manipulator)(std::ostream&)) const {
  writePiece(manipulator);
  return *this;
}

void logHackingAttempt(std::string_view noticed, std::string_view label, std::string_view value) {
  DebugOut() << noticed << label << value << std::endl;
}
