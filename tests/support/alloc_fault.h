// Memory that runs out: operator new of the whole program, replaced.

#ifndef TESTS_SUPPORT_ALLOC_FAULT_H_
#define TESTS_SUPPORT_ALLOC_FAULT_H_

namespace fake {

// Counts what the thread that made it takes and gives back while it lives. One at a time in a
// thread, and nothing that was taken before is given back within it.
class AllocWatch {
 public:
  AllocWatch();
  ~AllocWatch();
  AllocWatch(const AllocWatch&) = delete;
  AllocWatch& operator=(const AllocWatch&) = delete;

  // The n-th allocation from now on throws std::bad_alloc, the others succeed; 0: all succeed.
  static void failNth(long n);
  // Whether the one that was to fail has been asked for.
  static bool failed();
  // Taken and not given back.
  static long live();
};

}  // namespace fake

#endif  // TESTS_SUPPORT_ALLOC_FAULT_H_
