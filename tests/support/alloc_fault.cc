#include "tests/support/alloc_fault.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace fake {

namespace {

struct State {
  bool counting = false;
  bool failed = false;
  long countdown = 0;
  long live = 0;
};

thread_local State state;

void* take(std::size_t size) {
  if (state.countdown != 0 && --state.countdown == 0) {
    state.failed = true;
    throw std::bad_alloc();
  }
  void* const storage = std::malloc(size != 0 ? size : 1);
  if (storage == nullptr) throw std::bad_alloc();
  if (state.counting) ++state.live;
  return storage;
}

void giveBack(void* storage) noexcept {
  if (storage != nullptr && state.counting) --state.live;
  std::free(storage);
}

}  // namespace

AllocWatch::AllocWatch() {
  state = State();
  state.counting = true;
}

AllocWatch::~AllocWatch() { state = State(); }

void AllocWatch::failNth(long n) {
  state.countdown = n;
  state.failed = false;
}

bool AllocWatch::failed() { return state.failed; }

long AllocWatch::live() { return state.live; }

}  // namespace fake

void* operator new(std::size_t size) { return fake::take(size); }
void* operator new[](std::size_t size) { return fake::take(size); }
void operator delete(void* storage) noexcept { fake::giveBack(storage); }
void operator delete[](void* storage) noexcept { fake::giveBack(storage); }
void operator delete(void* storage, std::size_t) noexcept { fake::giveBack(storage); }
void operator delete[](void* storage, std::size_t) noexcept { fake::giveBack(storage); }
