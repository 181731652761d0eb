#include "platform/debug_stream.h"

#include <iostream>

#include "host/debug.h"

// All four are set before any code runs, so that the constructors of a program's own statics may
// use them. <iostream> makes the stream itself ready as early. clog and not cerr: neither flushed
// at every piece nor tied to the standard output.
constinit std::ostream* tdout = &std::clog;
pthread_mutex_t DOUTMutex = PTHREAD_MUTEX_INITIALIZER;
constinit std::atomic<int> tdoutEnabled = 0;
constinit std::atomic<int> tdoutSwitch = 0;

namespace platform {

void setDebugStream(std::ostream* stream) {
  pthread_mutex_lock(&DOUTMutex);
  tdout = stream != nullptr ? stream : &std::clog;
  pthread_mutex_unlock(&DOUTMutex);
}

void switchDebug(bool on) {
  tdoutEnabled = on ? 1 : 0;
  tdoutSwitch = on ? 1 : 0;
}

}  // namespace platform
