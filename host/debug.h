// The host's debug stream. The module writes every diagnostic line here, piece by piece, each piece
// under its own hold of the mutex; while either flag is zero nothing is written and the mutex is
// not taken. See pthread_mutex_lock(3).

#ifndef HOST_DEBUG_H_
#define HOST_DEBUG_H_

#include <pthread.h>

#include <atomic>
#include <iosfwd>

// Where the lines go. Never null while a servlet exists; the host may point it elsewhere between
// requests only.
extern std::ostream* tdout;

// Held for each piece that is written to *tdout; whoever else writes there takes it too.
extern pthread_mutex_t DOUTMutex;

// Both must be non-zero for anything to be written: the first says that the host has a debug stream
// at all, the second is the operator's switch. May change at any time, from any thread.
extern std::atomic<int> tdoutEnabled;
extern std::atomic<int> tdoutSwitch;

#endif  // HOST_DEBUG_H_
