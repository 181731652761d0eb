// For programs that host a servlet: where its debug lines go, and whether they are written at all.
// host/debug.h declares the objects themselves. Without any call the stream is standard error and
// nothing is written.

#ifndef PLATFORM_DEBUG_STREAM_H_
#define PLATFORM_DEBUG_STREAM_H_

#include <iosfwd>

namespace platform {

// Points tdout at `stream`, or back at standard error when `stream` is null. The stream has to live
// until the next call, or until the last servlet is gone. Waits for a piece that is being written.
// REQUIRES: no request is being served (a servlet reads the pointer before it takes the mutex).
void setDebugStream(std::ostream* stream);

// Sets both flags. At any time, from any thread; a line that is being written may be cut there.
void switchDebug(bool on);

}  // namespace platform

#endif  // PLATFORM_DEBUG_STREAM_H_
