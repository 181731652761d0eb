// The module's system calls, watched and made to fail. For programs linked with
// hotspot_wrapped_module_test; calls of the program's own code go the same way.

#ifndef TESTS_SUPPORT_WRAPPED_SYSTEM_H_
#define TESTS_SUPPORT_WRAPPED_SYSTEM_H_

#include <string>
#include <vector>

namespace fake {

// While it lives, calls of the thread that made it are written down: "open PATH", "mmap SIZE",
// "munmap SIZE", "close", "lock", "unlock". (Only the debug stream's mutex counts.) One at a time.
class CallWatch {
 public:
  CallWatch();
  ~CallWatch();
  CallWatch(const CallWatch&) = delete;
  CallWatch& operator=(const CallWatch&) = delete;

  // From now on these fail with that errno; 0: succeed.
  void failOpen(int error) { openError = error; }
  void failMmap(int error) { mmapError = error; }
  // The descriptor is gone all the same, as the system has it; the mapping stays.
  void failClose(int error) { closeError = error; }
  void failMunmap(int error) { munmapError = error; }
  // From now on a mapping comes about at the null address.
  void mapNowhere() { nowhere = true; }

  // Adds an entry of the test's own among the calls.
  void note(std::string entry);

  // The calls but those of the mutex.
  std::vector<std::string> fileCalls() const;

  std::vector<std::string> calls;
  std::vector<const void*> taken;  // what malloc(3) gave
  std::vector<const void*> freed;  // what went to free(3)
  bool sharedReadOnly = true;      // every mapping: PROT_READ, MAP_SHARED, from the file's start
  bool populated = true;           // every mapping: MAP_POPULATE
  int openFiles = 0;               // opened and not closed
  int mappings = 0;                // mapped and not unmapped
  int openError = 0;
  int mmapError = 0;
  int closeError = 0;
  int munmapError = 0;
  bool nowhere = false;
};

}  // namespace fake

#endif  // TESTS_SUPPORT_WRAPPED_SYSTEM_H_
